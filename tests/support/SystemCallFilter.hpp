#pragma once

#include <initializer_list>

namespace KestrelCore {

/// From now on these system calls of this process fail with `errorNumber`, as where the system lacks them. That can't
/// be taken back: for a child. False where such filters are not to be had.
[[nodiscard]] bool refuseSystemCalls(std::initializer_list<long> calls, int errorNumber);

}  // namespace KestrelCore
