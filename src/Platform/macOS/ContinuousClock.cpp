#include "Platform/ContinuousClock.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/PlainSleep.hpp"

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <sys/event.h>

namespace KestrelCore {
namespace {

using std::chrono::nanoseconds;

/// Of the two events that a sleeper waits for: each has a number of its own kind.
constexpr std::uintptr_t cancelled = 1;
constexpr std::uintptr_t timePassed = 2;

/// Hands one change to a queue. Whether the queue took it.
bool change(const FileDescriptor& queue, const struct kevent& event) {
    return ::kevent(queue.get(), &event, 1, nullptr, 0, nullptr) == 0;
}

class MachClock final : public ContinuousClock {
public:
    [[nodiscard]] nanoseconds now() const override {
        // What mach_continuous_time counts, as nanoseconds: it never steps and goes on while the machine sleeps.
        return nanoseconds{static_cast<std::int64_t>(clock_gettime_nsec_np(CLOCK_MONOTONIC_RAW))};
    }

    void sleep(std::optional<nanoseconds> duration, const CancellationToken& cancellation) const override {
        if (cancellation.isCancelled()) return;
        if (duration && *duration <= nanoseconds{0}) return;
        const FileDescriptor queue{::kqueue()};
        constexpr std::uint16_t once = EV_ADD | EV_ONESHOT;
        const struct kevent wake {
            .ident = cancelled, .filter = EVFILT_USER, .flags = once, .fflags = 0, .data = 0, .udata = nullptr
        };
        if (!queue.isOpen() || !change(queue, wake)) return sleepWithoutDescriptors(duration, cancellation);
        const nanoseconds start = now();
        if (duration) {
            // An interval that continues to tick while the machine sleeps.
            const struct kevent timer {
                .ident = timePassed, .filter = EVFILT_TIMER, .flags = once,
                .fflags = NOTE_NSECONDS | NOTE_MACH_CONTINUOUS_TIME,
                .data = static_cast<std::intptr_t>(duration->count()), .udata = nullptr
            };
            if (!change(queue, timer)) return sleepWithoutDescriptors(duration, cancellation);
        }
        const auto registration = cancellation.onCancel([&queue] {
            const struct kevent trigger {
                .ident = cancelled, .filter = EVFILT_USER, .flags = 0, .fflags = NOTE_TRIGGER, .data = 0,
                .udata = nullptr
            };
            (void)change(queue, trigger);
        });
        const auto isOver = [&] { return cancellation.isCancelled() || (duration && now() - start >= *duration); };
        struct kevent seen {};
        // What interrupts the waiting does not end it; nor may it keep it going beyond what was asked.
        while (::kevent(queue.get(), nullptr, 0, &seen, 1, nullptr) < 0 && errno == EINTR && !isOver()) {
        }
    }
};

}  // namespace

std::shared_ptr<const ContinuousClock> ContinuousClock::system() { return std::make_shared<MachClock>(); }

}  // namespace KestrelCore
