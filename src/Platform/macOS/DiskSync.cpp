#include "Platform/POSIX/DiskSync.hpp"

#include <fcntl.h>
#include <unistd.h>

namespace KestrelCore {

// Here fsync hands what was written to the disk, which may keep it in its own memory for a while.
int syncToDisk(int descriptor) {
    if (::fcntl(descriptor, F_FULLFSYNC) == 0) return 0;
    // Not every file system knows the request, and folders of some don't.
    return ::fsync(descriptor);
}

int syncFileSystemToDisk(int descriptor) {
    if (::fsync_volume_np(descriptor, SYNC_VOLUME_FULLSYNC | SYNC_VOLUME_WAIT) == 0) return 0;
    return syncToDisk(descriptor);
}

}  // namespace KestrelCore
