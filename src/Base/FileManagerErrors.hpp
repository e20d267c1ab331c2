#pragma once

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <cstdint>

namespace KestrelCore {

/// What was asked of the file manager when it failed: it decides the sentence and the family of the code.
enum class FileOperation : std::uint8_t { list, read, createDirectory, remove, trash };

/// The file manager's code for an errno value met while reading: 256, 257, 258, 260 or 263.
[[nodiscard]] int fileReadCode(int errorNumber);
/// The file manager's code for an errno value met while writing: 4, 512, 513, 514, 516, 640 or 642. A folder that is
/// not empty is 512, not disguised as a lack of permission.
[[nodiscard]] int fileWriteCode(int errorNumber);

/// The error for a failed operation on `path`: the code, a finished sentence that names the item by its last
/// component, and the POSIX error beneath. `volumeName` is named only when the volume is full or read-only.
[[nodiscard]] PlatformError fileManagerError(FileOperation operation, const Text& path, int errorNumber,
                                             const Text& volumeName = "");

/// The error (3328) for an item whose volume has no usable trash. Nothing lies beneath.
[[nodiscard]] PlatformError noTrashError(const Text& path, const Text& volumeName);

}  // namespace KestrelCore
