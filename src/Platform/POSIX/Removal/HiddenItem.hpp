#pragma once

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/RemovalFolder.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// An item to be removed while it stands out of everybody's way: in a folder beside it that only this user may enter,
/// or, where that can't be had, in its own folder under a random name. The folder goes when this object does, unless it
/// is a batch's.
class HiddenItem {
public:
    /// `item` must outlive this, and so must `batch`, whose folder is used where it is not null: it is one beside the
    /// item.
    explicit HiddenItem(const ItemLocation& item, RemovalBatch* batch = nullptr)
        : item_{item}, own_{item.folder.get()}, hiding_{batch == nullptr ? own_ : batch->hiding} {}
    HiddenItem(const HiddenItem&) = delete;
    HiddenItem& operator=(const HiddenItem&) = delete;
    ~HiddenItem() = default;

    /// Moves it there. 0, or the errno value; nothing has changed then.
    [[nodiscard]] int hide();

    // Where it stands now.
    [[nodiscard]] int folder() const { return isInPrivateFolder_ ? hiding_.descriptor() : item_.folder.get(); }
    [[nodiscard]] const std::string& name() const { return isRenamed_ ? hiddenName_ : item_.name; }

    /// Gives it its place back and takes the folder away; `error` says so in a further sentence when either fails.
    [[nodiscard]] PlatformError giveBack(const PlatformError& error);
    /// Takes the item's own folder away, once the item is gone. A sentence that names it when it stays all the same.
    [[nodiscard]] std::optional<Text> removeFolder() { return own_.remove(); }

private:
    const ItemLocation& item_;
    RemovalFolder own_;
    RemovalFolder& hiding_;
    std::string hiddenName_;  ///< of the item where it can't have a folder
    bool isInPrivateFolder_ = false;
    bool isRenamed_ = false;
};

}  // namespace KestrelCore
