#include "Platform/macOS/Processes/Portable/CheckedSignals.hpp"

#include "KestrelCore/Base/PlatformError.hpp"

#include <cerrno>
#include <csignal>
#include <utility>

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

class CheckedHandle final : public ProcessHandle {
public:
    CheckedHandle(std::int32_t processIdentifier, const StartAnswer& answer, SignalCalls calls)
        : identifier_{processIdentifier}, started_{answer.started}, calls_{std::move(calls)} {}

    void send(ProcessSignal signal) override {
        if (isAnother()) throw PlatformError::posix(ESRCH);
        if (const int error = calls_.signal(identifier_, numberOf(signal)); error != 0)
            throw PlatformError::posix(error);
    }

    bool hasExited() override { return isAnother() || calls_.signal(identifier_, 0) == ESRCH; }

private:
    /// Whether the identifier means nothing any more, or nothing but a zombie, or another process. One that may not be
    /// looked at any more, since it has taken another user's rights, is still the same.
    [[nodiscard]] bool isAnother() const {
        if (!started_) return false;
        const StartAnswer now = calls_.start(identifier_);
        return now.started ? now.started != started_ : now.errorNumber == ESRCH;
    }

    std::int32_t identifier_;
    std::optional<TaskBytes::StartTime> started_;
    SignalCalls calls_;
};

}  // namespace

std::unique_ptr<ProcessHandle> heldByStartTime(std::int32_t processIdentifier, SignalCalls calls) {
    if (processIdentifier <= 0) throw PlatformError::posix(ESRCH);
    const StartAnswer answer = calls.start(processIdentifier);
    // EPERM is the answer about a process that is there and another user's.
    if (!answer.started && calls.signal(processIdentifier, 0) == ESRCH) throw PlatformError::posix(ESRCH);
    return std::make_unique<CheckedHandle>(processIdentifier, answer, std::move(calls));
}

}  // namespace KestrelCore
