#include "Platform/ProcessSignals.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

// A process descriptor (Linux 5.3) goes on meaning one process for as long as it is open. Where the kernel does not
// know them, or a sandbox refuses the call, the identifier itself is signalled with `kill`: then a process that ends
// between the check and the signal, and whose identifier is given away at that moment, would be mistaken.

namespace KestrelCore {
namespace {

/// Sandboxes refuse a call that they don't know with EPERM; `pidfd_open` itself never does.
bool isUnavailable(int errorNumber) { return errorNumber == ENOSYS || errorNumber == EPERM; }

int numberOf(ProcessSignal signal) {
    switch (signal) {
    case ProcessSignal::quit: break;
    case ProcessSignal::forceQuit: return SIGKILL;
    case ProcessSignal::freeze: return SIGSTOP;
    case ProcessSignal::resume: return SIGCONT;
    }
    return SIGTERM;
}

class LinuxProcessHandle final : public ProcessHandle {
public:
    LinuxProcessHandle(std::int32_t processIdentifier, FileDescriptor descriptor)
        : identifier_{processIdentifier}, descriptor_{std::move(descriptor)} {}

    void send(ProcessSignal signal) override {
        const int number = numberOf(signal);
        if (descriptor_.isOpen()) {
            if (syscall(SYS_pidfd_send_signal, descriptor_.get(), number, nullptr, 0) == 0) return;
            // ESRCH: it has ended since, and the descriptor saw to it that nobody else was told in its stead.
            if (errno != ENOSYS) throw PlatformError::posix(errno);
        }
        if (kill(identifier_, number) != 0) throw PlatformError::posix(errno);
    }

    bool hasExited() override {
        // A descriptor becomes readable when its process ends, also while nobody has asked for its status.
        pollfd ended{.fd = descriptor_.get(), .events = POLLIN, .revents = 0};
        if (descriptor_.isOpen()) return poll(&ended, 1, 0) > 0;
        return kill(identifier_, 0) != 0 && errno == ESRCH;
    }

private:
    std::int32_t identifier_;
    FileDescriptor descriptor_;  ///< owns nothing where there are no process descriptors
};

class LinuxProcessSignals final : public ProcessSignals {
public:
    [[nodiscard]] std::int32_t ownIdentifier() const override { return getpid(); }

    [[nodiscard]] std::unique_ptr<ProcessHandle> hold(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) throw PlatformError::posix(ESRCH);
        FileDescriptor descriptor{static_cast<int>(syscall(SYS_pidfd_open, processIdentifier, 0))};
        if (!descriptor.isOpen() && !isUnavailable(errno)) {
            // EINVAL, and ENOENT since Linux 6.15, is the answer for the identifier of a mere thread.
            throw PlatformError::posix(errno == EINVAL || errno == ENOENT ? ESRCH : errno);
        }
        return std::make_unique<LinuxProcessHandle>(processIdentifier, std::move(descriptor));
    }
};

}  // namespace

std::unique_ptr<ProcessSignals> ProcessSignals::system() { return std::make_unique<LinuxProcessSignals>(); }

}  // namespace KestrelCore
