#pragma once

#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/Linux/Removal/ItemLocation.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

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
    ~HiddenItem() { removePrivateFolder(); }

    /// Moves it there. 0, or the errno value; nothing has changed then.
    [[nodiscard]] int hide();

    // Where it stands now.
    [[nodiscard]] int folder() const { return isInPrivateFolder_ ? privateFolder_.get() : item_.folder.get(); }
    [[nodiscard]] const std::string& name() const { return isRenamed_ ? hiddenName_ : item_.name; }

    /// Gives it its place back; `error` says so in a further sentence when that is taken by now.
    [[nodiscard]] PlatformError giveBack(const PlatformError& error);

private:
    [[nodiscard]] int drawName();
    [[nodiscard]] bool makePrivateFolder();
    void removePrivateFolder();

    const ItemLocation& item_;
    std::string hiddenName_;  ///< of the private folder, or of the item itself
    FileDescriptor privateFolder_;
    bool hasPrivateFolder_ = false;
    bool isInPrivateFolder_ = false;
    bool isRenamed_ = false;
};

/// Whether a name is one of those. After a crash the item still stands there.
[[nodiscard]] bool isRemovalName(std::string_view name);

}  // namespace KestrelCore
