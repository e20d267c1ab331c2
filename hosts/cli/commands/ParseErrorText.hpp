#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
class Option;
class ParseError;
}  // namespace CLI

namespace KestrelCLI {

/// "--min needs a SIZE, as in --min 500MB." for an option that stands without its value. `option` may be null, where it
/// is not known which one `name` is.
[[nodiscard]] std::string missingValue(std::string_view name, const CLI::Option* option);

/// What is wrong with a command line, in this program's words. The options of `app` and its commands are looked up.
[[nodiscard]] std::string parseErrorText(const CLI::ParseError& error, const CLI::App& app);

}  // namespace KestrelCLI
