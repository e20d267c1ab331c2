#pragma once

namespace KestrelCore {

/// Puts what was written to an open file or folder on the disk itself, past the disk's own memory. 0, or -1 with errno.
[[nodiscard]] int syncToDisk(int descriptor);

/// The same for everything on the file system that the open file or folder lies on.
[[nodiscard]] int syncFileSystemToDisk(int descriptor);

}  // namespace KestrelCore
