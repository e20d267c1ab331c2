#include "InterruptionWatch.hpp"

#include "Interruption.hpp"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace KestrelCLI {

InterruptionWatch::InterruptionWatch()
    : thread_{[token = token_](const std::stop_token& stop) {
          // Short enough that Ctrl-C never feels late.
          constexpr auto pause = std::chrono::milliseconds{50};
          std::mutex mutex;
          std::condition_variable_any end;
          std::unique_lock lock{mutex};
          while (!stop.stop_requested() && !Interruption::isRequested()) {
              end.wait_for(lock, stop, pause, [] { return false; });
          }
          if (Interruption::isRequested()) token.cancel();
      }} {}

}  // namespace KestrelCLI
