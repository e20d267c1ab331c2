#include "Platform/POSIX/PlainSleep.hpp"

#include <condition_variable>
#include <mutex>

namespace KestrelCore {

void sleepWithoutDescriptors(std::optional<std::chrono::nanoseconds> duration, const CancellationToken& cancellation) {
    std::mutex mutex;
    std::condition_variable changed;
    bool isCancelled = false;
    const auto registration = cancellation.onCancel([&] {
        // Notified under the lock: the sleeper must not take these variables away while they are in use.
        const std::lock_guard guard{mutex};
        isCancelled = true;
        changed.notify_one();
    });
    // Made after the registration, so given up before the registration waits for a callback that needs it.
    std::unique_lock lock{mutex};
    if (duration) {
        changed.wait_for(lock, *duration, [&] { return isCancelled; });
    } else {
        changed.wait(lock, [&] { return isCancelled; });
    }
}

}  // namespace KestrelCore
