#pragma once

#include <CLI/CLI.hpp>

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `text` in lines of at most `columns`, parted at blanks; lines after the first begin with `indent` blanks. A word
/// that is longer than a line stays whole. New lines in `text` stay. Without a newline at the end.
[[nodiscard]] std::string wrappedWords(std::string_view text, std::size_t columns, std::size_t indent);

/// The lines of the options of `app` that are not hidden, wrapped to `columns`; empty where there are none.
[[nodiscard]] std::string optionLines(const CLI::App& app, std::size_t columns);

/// The lines of the commands of `app` that are not hidden, each with its description.
[[nodiscard]] std::string commandLines(const CLI::App& app, std::size_t columns);

}  // namespace KestrelCLI
