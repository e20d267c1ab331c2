#include "terminal/WakePipe.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace KestrelCLI {

WakePipe::WakePipe() {
    if (pipe(ends_) != 0) throw std::system_error{errno, std::generic_category(), "pipe"};
    // Programs that are started don't get it.
    for (const int end : ends_) fcntl(end, F_SETFD, FD_CLOEXEC);
}

WakePipe::~WakePipe() {
    for (const int end : ends_) close(end);
}

// As many bytes are written as `take` found it woken, at most two at a time, so that no write waits.
void WakePipe::wake() {
    if (isWoken_.exchange(true)) return;
    const char byte = 0;
    while (write(ends_[1], &byte, 1) < 0 && errno == EINTR) {
    }
}

bool WakePipe::take() {
    if (!isWoken_.exchange(false)) return false;
    // The byte of a `wake` that is under way comes at once.
    char byte = 0;
    while (read(ends_[0], &byte, 1) < 0 && errno == EINTR) {
    }
    return true;
}

}  // namespace KestrelCLI
