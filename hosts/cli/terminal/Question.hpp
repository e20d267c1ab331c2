#pragma once

#include "output/Session.hpp"

#include <string>
#include <string_view>

namespace KestrelCLI {

/// Asks on standard error and reads one line from standard input. `prompt` is shown escaped, on one line. Throws
/// `UsageError` when standard input is not a terminal (`instead` says in a sentence which option answers in its place)
/// and `Interrupted` on Ctrl-C. The end of the input gives an empty answer.
[[nodiscard]] std::string ask(const Session& session, std::string_view prompt, std::string_view instead);

/// A question of yes or no; anything but "y" or "yes" is a no.
[[nodiscard]] bool confirm(const Session& session, std::string_view question, std::string_view instead);

}  // namespace KestrelCLI
