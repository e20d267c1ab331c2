#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// "Did you mean “scan”?" with those of `known` that were probably meant by `word`, in any case: the only one that
/// begins with it (from two letters on), else those that differ by a slip (`nearNames`). Empty where there are none.
[[nodiscard]] std::string didYouMeanOneOf(std::string_view word, const std::vector<std::string>& known);

/// What another program's command does here, in a sentence ("rm": kestrel trash …), for a word that is no command of
/// this one. Absent for words of no such program.
[[nodiscard]] std::optional<std::string> sentenceForCommand(std::string_view word);

/// The same for an option as du, ls or rm take it. `command` is the one it was given to; empty without one.
[[nodiscard]] std::optional<std::string> sentenceForOption(std::string_view option, std::string_view command);

/// `text` with ASCII letters in lower case.
[[nodiscard]] std::string lowercasedASCII(std::string_view text);

}  // namespace KestrelCLI
