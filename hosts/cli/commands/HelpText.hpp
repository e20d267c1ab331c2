#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace KestrelCLI {

/// An example as it is typed, indented and with a new line at its end. Where it is longer than a line it is parted
/// between words as a shell reads it on, with "\\" at the end of the line; a word that is longer stays whole.
[[nodiscard]] std::string exampleLine(std::string_view example, std::size_t columns);

/// What an option takes, as help and manual show it, such as "N"; empty for one that takes nothing.
[[nodiscard]] std::string valueText(const CLI::Option& option);

/// The lines of the options of `app` that are not hidden, wrapped to `columns`; empty where there are none.
[[nodiscard]] std::string optionLines(const CLI::App& app, std::size_t columns);

/// The lines of the commands of `app` that are not hidden, each with its description.
[[nodiscard]] std::string commandLines(const CLI::App& app, std::size_t columns);

}  // namespace KestrelCLI
