#include "terminal/InterruptionWatch.hpp"

#include "terminal/Interruption.hpp"

#include <chrono>
#include <system_error>

namespace KestrelCLI {

InterruptionWatch::InterruptionWatch() {
    try {
        thread_ = std::thread{[this] { watch(); }};
    } catch (const std::system_error&) {
        // The call then runs to its end, as one that takes no token would; Ctrl-C a second time still ends the process.
        return;
    }
}

InterruptionWatch::~InterruptionWatch() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard guard{mutex_};
        isEnded_ = true;
        ended_.notify_one();
    }
    thread_.join();
}

void InterruptionWatch::watch() {
    // Short enough that Ctrl-C never feels late.
    constexpr auto pause = std::chrono::milliseconds{50};
    // Asked again and again: a signal handler may wake no condition variable.
    std::unique_lock guard{mutex_};
    while (!isEnded_ && !Interruption::isRequested()) ended_.wait_for(guard, pause);
    if (Interruption::isRequested()) token_.cancel();
}

}  // namespace KestrelCLI
