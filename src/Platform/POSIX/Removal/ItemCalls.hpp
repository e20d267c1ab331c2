#pragma once

#include "Platform/POSIX/FileDescriptor.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

namespace KestrelCore {

// What systems differ in when items are looked at and moved. Each has an implementation of its own; everything else
// about removing is the same source. None of these follows a link or triggers a mount.

/// Opens the folder `name` in `parent` (AT_FDCWD for "/") for use in relative calls: that needs no right to list it.
/// Not open with `errno` set on failure.
[[nodiscard]] FileDescriptor openFolderToPass(int parent, const std::string& name);

/// A descriptor that stands for the item itself, of whatever kind, and does nothing to it. Not open on failure, nor
/// where the system has nothing of the kind; identities must do then.
[[nodiscard]] FileDescriptor openStandIn(int folder, const std::string& name);

/// What `name` in `folder` is. Empty with `errno` set when it can't be looked at.
[[nodiscard]] std::optional<struct stat> statusIn(int folder, const std::string& name);
/// The same by the word of a network file system's server, not of what the system remembers of it, where it can be
/// asked so.
[[nodiscard]] std::optional<struct stat> askedStatusIn(int folder, const std::string& name);

/// Renames within the file system and never replaces anything. 0, or the errno value: a file system that can't promise
/// that refuses.
[[nodiscard]] int renameWithoutReplacing(int fromFolder, const std::string& from, int toFolder, const std::string& to);
/// Whether a rename that failed with this value says nothing against removing a folder through its descriptor: the
/// folder can't be renamed, for what it is or where it lies.
[[nodiscard]] bool isRenameUnavailable(int errorNumber);

/// Whether it was for being a folder that `name` could not be removed as a file.
[[nodiscard]] bool isFolderRefusal(int errorNumber, int folder, const std::string& name);
/// Whether a listing that goes on behind removals may leave entries out.
[[nodiscard]] bool mayListingsSkipBehindRemovals();

/// The path of an open folder without any link in it, as the system's list of mounts has it; `otherwise` where the
/// system does not tell.
[[nodiscard]] std::string pathOfDescriptor(int descriptor, const std::string& otherwise);

/// Whether a folder of this name at the top of a volume belongs to the trash.
[[nodiscard]] bool isVolumeTrashName(std::string_view name);

}  // namespace KestrelCore
