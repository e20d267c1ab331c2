#pragma once

#include <string_view>

namespace KestrelCore {

/// Stops the process because an invariant of the program is broken: prints one line that names `sourceFile` (such as
/// "KestrelCore/SafetyPolicy") and `message` on standard error, then aborts. Never for bad input. Any thread.
[[noreturn]] void fatalError(std::string_view sourceFile, std::string_view message);

}  // namespace KestrelCore
