#pragma once

#include "Platform/ProcessSignals.hpp"
#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

// macOS lets nobody hold on to a process: `kill` goes by the identifier alone. What tells two processes apart that have
// it one after the other is the moment in which each was started; so that is asked when a process is held, and again
// right before it is told anything. What remains is the time between that question and the signal: a process that ends
// within it, and whose identifier is given away at once, would be mistaken. Identifiers are given in a circle, so that
// this takes all the others in between. Of a process that the system tells nothing about the identifier alone is known.

namespace KestrelCore {

/// What the system says to the question when the process with an identifier was started.
struct StartAnswer {
    std::optional<TaskBytes::StartTime> started{};
    int errorNumber = 0;  ///< why it is not told: ESRCH when the process is gone or a zombie, EPERM when it is secret
};

/// The two things that are asked of the system. Any thread.
struct SignalCalls {
    std::function<StartAnswer(std::int32_t processIdentifier)> start;
    /// As `kill`: 0 for success, else why not. The signal 0 tells nobody anything.
    std::function<int(std::int32_t processIdentifier, int signal)> signal;
};

/// As `ProcessSignals::hold`.
[[nodiscard]] std::unique_ptr<ProcessHandle> heldByStartTime(std::int32_t processIdentifier, SignalCalls calls);

}  // namespace KestrelCore
