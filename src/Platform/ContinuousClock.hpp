#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"

#include <chrono>
#include <memory>
#include <optional>

namespace KestrelCore {

/// The clock that never steps and goes on while the machine sleeps. Wall-clock time would step when somebody sets it,
/// and the standard library's steady clock stands still on Linux while the machine sleeps: an interval that began in
/// the evening would not be over in the morning. All calls from any thread.
class ContinuousClock {
public:
    virtual ~ContinuousClock() = default;

    /// Time since some fixed point before this process started; only differences mean anything.
    [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;

    /// Blocks for `duration`, or until `cancellation` is cancelled if that is earlier. An absent duration waits for the
    /// cancellation alone. After the machine has slept it may return at once.
    virtual void sleep(std::optional<std::chrono::nanoseconds> duration,
                       const CancellationToken& cancellation) const = 0;

    /// The clock of this machine. Tests bring one of their own, whose hours pass at once.
    [[nodiscard]] static std::shared_ptr<const ContinuousClock> system();
};

}  // namespace KestrelCore
