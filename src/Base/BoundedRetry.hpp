#pragma once

#include <cerrno>

namespace KestrelCore {

/// Makes a system call that may be interrupted, again and again while `isToRepeat(errno)` after a negative result. What
/// interrupts a call is over soon, but a file system or a sandbox can answer so for ever: then, after a hundred times,
/// this is its answer. Any thread.
template <typename Call, typename Question>
[[nodiscard]] auto repeatedWhile(Question isToRepeat, Call call) {
    constexpr int mostTries = 100;
    auto result = call();
    for (int tries = 1; result < 0 && tries < mostTries && isToRepeat(errno); ++tries) result = call();
    return result;
}

/// The same for a call that only signals interrupt.
template <typename Call>
[[nodiscard]] auto repeatedWhenInterrupted(Call call) {
    return repeatedWhile([](int error) { return error == EINTR; }, call);
}

}  // namespace KestrelCore
