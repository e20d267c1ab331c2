#pragma once

#include <cstdint>
#include <memory>

namespace KestrelCore {

/// What a process can be told.
enum class ProcessSignal {
    quit,       ///< please: it may take its time, or refuse
    forceQuit,  ///< the system ends it; it can't save anything
    freeze,     ///< it stands still from here on
    resume      ///< and goes on
};

/// One process, held on to: where the system can, a handle goes on meaning the very process that it was made for, also
/// when that one ends and its identifier is given to another.
class ProcessHandle {
public:
    virtual ~ProcessHandle() = default;

    /// Tells the process and does not wait for what it does. Throws `PlatformError` (POSIX).
    virtual void send(ProcessSignal signal) = 0;

    /// Whether it is gone, or nothing is left of it but its entry.
    [[nodiscard]] virtual bool hasExited() = 0;
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
