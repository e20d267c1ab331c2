#pragma once

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// An item to be removed while it stands out of everybody's way: in a folder beside it that only this user may enter,
/// or, where that can't be had, in its own folder under a random name. The folder goes when this object does.
class HiddenItem {
public:
    /// `item` must outlive this.
    explicit HiddenItem(const ItemLocation& item) : item_{item} {}
    HiddenItem(const HiddenItem&) = delete;
    HiddenItem& operator=(const HiddenItem&) = delete;
    ~HiddenItem() { (void)removeFolder(); }

    /// Moves it there. 0, or the errno value; nothing has changed then.
    [[nodiscard]] int hide();

    // Where it stands now.
    [[nodiscard]] int folder() const { return isInPrivateFolder_ ? privateFolder_.get() : item_.folder.get(); }
    [[nodiscard]] const std::string& name() const { return isRenamed_ ? hiddenName_ : item_.name; }

    /// Gives it its place back and takes the folder away; `error` says so in a further sentence when either fails.
    [[nodiscard]] PlatformError giveBack(const PlatformError& error);
    /// Takes the folder away, once the item is gone. A sentence that names it when it stays all the same.
    [[nodiscard]] std::optional<Text> removeFolder();

private:
    [[nodiscard]] bool makePrivateFolder();

    const ItemLocation& item_;
    std::string folderName_;  ///< of the private folder
    std::string hiddenName_;  ///< of the item where it can't have one
    FileDescriptor privateFolder_;
    bool hasPrivateFolder_ = false;
    bool isInPrivateFolder_ = false;
    bool isRenamed_ = false;
};

/// Whether a name is one of those. After a crash the item still stands there.
[[nodiscard]] bool isRemovalName(std::string_view name);

}  // namespace KestrelCore
