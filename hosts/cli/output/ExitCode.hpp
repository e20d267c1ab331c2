#pragma once

#include <initializer_list>

namespace KestrelCLI {

/// What the program's end tells the shell.
enum class ExitCode : int {
    done = 0,
    failed = 1,
    wrongUsage = 2,  ///< also a needed question without a terminal to ask on
    incomplete = 3,  ///< done, but some items could not be read
    refused = 4,     ///< the safety policy refused something
    interrupted = 130
};

/// The more telling of two: the first that applies of interrupted, wrong usage, refused, failed, incomplete, done.
[[nodiscard]] constexpr ExitCode combined(ExitCode a, ExitCode b) {
    for (const ExitCode code :
         {ExitCode::interrupted, ExitCode::wrongUsage, ExitCode::refused, ExitCode::failed, ExitCode::incomplete}) {
        if (a == code || b == code) return code;
    }
    return ExitCode::done;
}

}  // namespace KestrelCLI
