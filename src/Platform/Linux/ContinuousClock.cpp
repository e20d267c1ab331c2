#include "Platform/ContinuousClock.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/PlainSleep.hpp"

#include <cerrno>
#include <cstdint>
#include <ctime>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>

namespace KestrelCore {
namespace {

using std::chrono::nanoseconds;

class BootTimeClock final : public ContinuousClock {
public:
    [[nodiscard]] nanoseconds now() const override {
        timespec time{};
        clock_gettime(CLOCK_BOOTTIME, &time);
        return std::chrono::seconds{time.tv_sec} + nanoseconds{time.tv_nsec};
    }

    void sleep(std::optional<nanoseconds> duration, const CancellationToken& cancellation) const override {
        if (cancellation.isCancelled()) return;
        if (duration && *duration <= nanoseconds{0}) return;
        // A timer of the boot clock goes on while the machine sleeps, which no condition variable does; and an event
        // that the cancellation can write to from any thread. The sleeper waits for whichever comes first.
        const FileDescriptor timer{duration ? timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK) : -1};
        const FileDescriptor wake{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
        if (!wake.isOpen() || (duration && !timer.isOpen())) return sleepWithoutDescriptors(duration, cancellation);
        if (duration) {
            const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(*duration);
            const itimerspec setting{.it_interval = {}, .it_value = {seconds.count(), (*duration - seconds).count()}};
            if (timerfd_settime(timer.get(), 0, &setting, nullptr) != 0) {
                return sleepWithoutDescriptors(duration, cancellation);
            }
        }
        const auto registration = cancellation.onCancel([&wake] { eventfd_write(wake.get(), 1); });
        pollfd waited[] = {{wake.get(), POLLIN, 0}, {timer.get(), POLLIN, 0}};
        const nanoseconds start = now();
        const auto isOver = [&] { return cancellation.isCancelled() || (duration && now() - start >= *duration); };
        // What interrupts the waiting does not end it; nor may it keep it going beyond what was asked.
        while (poll(waited, duration ? 2 : 1, -1) < 0 && errno == EINTR && !isOver()) {
        }
    }
};

}  // namespace

std::shared_ptr<const ContinuousClock> ContinuousClock::system() { return std::make_shared<BootTimeClock>(); }

}  // namespace KestrelCore
