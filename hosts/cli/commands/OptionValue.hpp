#pragma once

#include "commands/ValueCheck.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class Option;
}  // namespace CLI

namespace KestrelCLI {

/// The check of an option that counts, for its `check`: digits only, from 0 to `most`. It looks at the text,
/// because CLI11 would read a negative number into an unsigned variable as a very large one, and a leading 0 as octal.
[[nodiscard]] ValueCheck wholeNumber(std::int64_t most = std::numeric_limits<std::int64_t>::max());

/// The check of an option that takes one of a few names, for its `check`, in any case of ASCII letters: `numbers`
/// has what each stands for. Another word gets all of them to read, and the one that was probably meant.
[[nodiscard]] ValueCheck oneOf(const std::map<std::string, std::int64_t>& numbers);

/// The same for an option that keeps the name, as it stands in `names`.
[[nodiscard]] ValueCheck oneOf(const std::vector<std::string>& names);

/// The same, and `synonyms` (in lower case) stand for a name each; they are not among what another word gets to read.
[[nodiscard]] ValueCheck oneOf(const std::vector<std::string>& names,
                               const std::map<std::string, std::string>& synonyms);

/// What the value of an option, or an operand, is: what a shell can complete it to.
enum class ValueKind : std::uint8_t {
    text,  ///< nothing that anybody could know beforehand
    file,
    folder,
    scan,        ///< of the history: a number, or the name of an import
    scanNumber,  ///< of the history
    process,     ///< an identifier or a name
    user,        ///< of a process
    application,
    rule,     ///< for suggestions
    receipt,  ///< of what was moved to the Trash
    query,    ///< a word of a search
    command,
};

/// For an option's `check`: refuses nothing, and lets `kindOf` know.
[[nodiscard]] ValueCheck takes(ValueKind kind);
/// The same for one that takes other words than these, too; these are what `usualWords` gives.
[[nodiscard]] ValueCheck takesSuchAs(const std::vector<std::string>& words);

/// Of such as an age or a size may be, to begin with.
[[nodiscard]] std::vector<std::string> usualAges();
[[nodiscard]] std::vector<std::string> usualSizes();

/// Of an option with `takes`; `text` of any other.
[[nodiscard]] ValueKind kindOf(CLI::Option& option);
/// The words of an option with `oneOf` or `takesSuchAs`, in their order; none of any other.
[[nodiscard]] std::vector<std::string> usualWords(CLI::Option& option);

using Seconds = std::chrono::duration<double>;

/// A time between two samples as a person writes it: "1s", "500ms", "2m", "1h", or seconds without a unit ("0.5").
/// Absent for anything else, for what is not above 0 and for more than a year.
[[nodiscard]] std::optional<Seconds> parseInterval(std::string_view text);

/// The same of an option's value; throws `UsageError`.
[[nodiscard]] Seconds intervalOption(std::string_view text);

}  // namespace KestrelCLI
