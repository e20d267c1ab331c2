#pragma once

#include <cstdint>
#include <memory>

namespace KestrelCore {

/// One process, held on to: where the system can, a handle goes on meaning the very process that it was made for, also
/// when that one ends and its identifier is given to another.
class ProcessHandle {
public:
    virtual ~ProcessHandle() = default;

    /// Asks the process to quit and does not wait for it. Throws `PlatformError` (POSIX).
    virtual void terminate() = 0;
};

/// All calls from any thread.
class ProcessSignals {
public:
    virtual ~ProcessSignals() = default;

    /// Of the process that asks: it is never asked to quit from here.
    [[nodiscard]] virtual std::int32_t ownIdentifier() const = 0;

    /// Throws `PlatformError` (POSIX): ESRCH when no process has that identifier, and for every identifier that is not
    /// above 0, since to the system those mean groups of processes.
    [[nodiscard]] virtual std::unique_ptr<ProcessHandle> hold(std::int32_t processIdentifier) = 0;

    [[nodiscard]] static std::unique_ptr<ProcessSignals> system();
};

}  // namespace KestrelCore
