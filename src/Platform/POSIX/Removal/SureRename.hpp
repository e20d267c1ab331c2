#pragma once

#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include <string>
#include <sys/stat.h>

namespace KestrelCore {

/// `renameWithoutReplacing`, but where that fails it is looked who is right: a network file system that lost the answer
/// reports the failure of a rename that was done. 0 when the item `expected` stands under its new name and no longer
/// under the old one.
[[nodiscard]] int renameSurely(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                               const ExpectedItem& expected);

// By the word of the file system itself, after a call that it reported as failed. Both are false when it does not tell.
/// Whether something stands under the name.
[[nodiscard]] bool isThere(int folder, const std::string& name);
/// Whether nothing does.
[[nodiscard]] bool isGone(int folder, const std::string& name);

/// An item that is about to be renamed, to be known again afterwards. Mostly its identity is enough. But a file with
/// several names on a lower layer of an overlay gets another inode number when it is first changed, and a rename is
/// such a change; a descriptor that held the file before shows that it still is the same.
class HeldItem {
public:
    /// `status` is what was looked at before, and is what the item must be.
    HeldItem(const ItemLocation& item, const struct stat& status);

    /// Whether that is the item.
    [[nodiscard]] bool is(const std::optional<struct stat>& found) const;

private:
    ExpectedItem expected_;
    FileDescriptor held_;  ///< only of a file with several names
};

}  // namespace KestrelCore
