#include "Platform/ProcessSignals.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/macOS/Processes/ProcessQueries.hpp"

#include <cerrno>
#include <csignal>
#include <optional>
#include <unistd.h>

// macOS lets nobody hold on to a process: `kill` goes by the identifier alone. What tells two processes apart that have
// it one after the other is the moment in which each was started; so that is asked when a process is held, and again
// right before it is told anything. What remains is the time between that question and the signal: a process that ends
// within it, and whose identifier is given away at once, would be mistaken. Identifiers are given in a circle, so that
// this takes all the others in between. Of a process that the system tells nothing about the identifier alone is known.

namespace KestrelCore {
namespace {

int numberOf(ProcessSignal signal) {
    switch (signal) {
    case ProcessSignal::quit: break;
    case ProcessSignal::forceQuit: return SIGKILL;
    case ProcessSignal::freeze: return SIGSTOP;
    case ProcessSignal::resume: return SIGCONT;
    }
    return SIGTERM;
}

std::optional<TaskBytes::StartTime> startOf(std::int32_t processIdentifier) {
    const auto process = queriedProcess(processIdentifier);
    return process ? std::optional{process->started} : std::nullopt;
}

class MacProcessHandle final : public ProcessHandle {
public:
    MacProcessHandle(std::int32_t processIdentifier, std::optional<TaskBytes::StartTime> started)
        : identifier_{processIdentifier}, started_{started} {}

    void send(ProcessSignal signal) override {
        if (started_ && isAnother()) throw PlatformError::posix(ESRCH);
        if (kill(identifier_, numberOf(signal)) != 0) throw PlatformError::posix(errno);
    }

    bool hasExited() override {
        if (started_ && isAnother()) return true;
        return kill(identifier_, 0) != 0 && errno == ESRCH;
    }

private:
    /// Whether the identifier means nothing any more, or nothing but a zombie, or another process. One that may not be
    /// looked at any more, since it has taken another user's rights, is still the same.
    [[nodiscard]] bool isAnother() const {
        const auto now = startOf(identifier_);
        return now ? now != started_ : errno == ESRCH;
    }

    std::int32_t identifier_;
    std::optional<TaskBytes::StartTime> started_;
};

class MacProcessSignals final : public ProcessSignals {
public:
    [[nodiscard]] std::int32_t ownIdentifier() const override { return getpid(); }

    [[nodiscard]] std::unique_ptr<ProcessHandle> hold(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) throw PlatformError::posix(ESRCH);
        const auto started = startOf(processIdentifier);
        // EPERM is the answer about a process that is there and another user's.
        if (!started && kill(processIdentifier, 0) != 0 && errno == ESRCH) throw PlatformError::posix(ESRCH);
        return std::make_unique<MacProcessHandle>(processIdentifier, started);
    }
};

}  // namespace

std::unique_ptr<ProcessSignals> ProcessSignals::system() { return std::make_unique<MacProcessSignals>(); }

}  // namespace KestrelCore
