#include "Platform/POSIX/DiskSync.hpp"

#include <unistd.h>

namespace KestrelCore {

int syncToDisk(int descriptor) { return ::fsync(descriptor); }

int syncFileSystemToDisk(int descriptor) { return ::syncfs(descriptor); }

}  // namespace KestrelCore
