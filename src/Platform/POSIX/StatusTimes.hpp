#pragma once

#include <ctime>
#include <sys/stat.h>

namespace KestrelCore {

// The times of an item, whose names in `struct stat` older systems chose for themselves.
#ifdef __APPLE__
inline const std::timespec& modificationTime(const struct stat& status) { return status.st_mtimespec; }
inline const std::timespec& changeTime(const struct stat& status) { return status.st_ctimespec; }
#else
inline const std::timespec& modificationTime(const struct stat& status) { return status.st_mtim; }
inline const std::timespec& changeTime(const struct stat& status) { return status.st_ctim; }
#endif

}  // namespace KestrelCore
