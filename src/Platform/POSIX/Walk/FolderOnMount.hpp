#pragma once

#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace KestrelCore {

/// A number for the mount on which the open file lies; empty when the system does not tell. Tells mounts of one device
/// apart, which a device number can't.
[[nodiscard]] std::optional<std::uint64_t> mountIdentifier(int descriptor);

/// Opens the folder `name` in the open folder `parent` for reading, unless a link, a mount or a subvolume stands there.
/// `parentMount` is the mount of `parent` as `mountIdentifier` gives it; 0 when unknown, and it is asked for where it
/// is needed. Not open on failure, with `errorNumber` set: EXDEV for a mount or subvolume, ELOOP or ENOTDIR for what is
/// no folder.
[[nodiscard]] FileDescriptor openFolderOnSameMount(int parent, const std::string& name, std::uint64_t parentMount,
                                                   int& errorNumber);

}  // namespace KestrelCore
