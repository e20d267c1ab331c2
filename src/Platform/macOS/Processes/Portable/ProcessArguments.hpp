#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCore {

/// The arguments of a process with a blank between each two, at most `mostBytes` of them, out of what the system keeps
/// (KERN_PROCARGS2): their number in 32 bits, the path of the executable, NULs up to the next word, the arguments and
/// then the environment, each ended by a NUL. The environment, which may hold secrets, is never part of the result.
/// Processes overwrite theirs with anything at all: the blanks at the end go, and nothing else is promised. Empty when
/// there are none.
[[nodiscard]] std::string argumentsIn(std::string_view bytes, std::size_t mostBytes);

}  // namespace KestrelCore
