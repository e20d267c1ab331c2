#include "Platform/ProcessSignals.hpp"

#include "Platform/macOS/Processes/Portable/CheckedSignals.hpp"
#include "Platform/macOS/Processes/ProcessQueries.hpp"

#include <cerrno>
#include <csignal>
#include <unistd.h>

namespace KestrelCore {
namespace {

StartAnswer startOf(std::int32_t processIdentifier) {
    const auto process = queriedProcess(processIdentifier);
    if (!process) return {.started = {}, .errorNumber = errno};
    return {.started = process->started, .errorNumber = 0};
}

int sentTo(std::int32_t processIdentifier, int signal) { return kill(processIdentifier, signal) == 0 ? 0 : errno; }

class MacProcessSignals final : public ProcessSignals {
public:
    [[nodiscard]] std::int32_t ownIdentifier() const override { return getpid(); }

    [[nodiscard]] std::unique_ptr<ProcessHandle> hold(std::int32_t processIdentifier) override {
        return heldByStartTime(processIdentifier, {.start = &startOf, .signal = &sentTo});
    }
};

}  // namespace

std::unique_ptr<ProcessSignals> ProcessSignals::system() { return std::make_unique<MacProcessSignals>(); }

}  // namespace KestrelCore
