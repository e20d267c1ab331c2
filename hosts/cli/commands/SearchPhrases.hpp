#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// What was probably meant by a bound on a time or a size that is written in a way that the search does not know.
struct BoundMeant {
    std::string filter;      ///< in the search's own form: "--older-than 1y", ">1gb"
    std::size_t words = 1;   ///< how many words of the query it stands for
    bool isCertain = false;  ///< false where the words may well be what is looked for: "older" alone
};

/// The bound that words from number `first` on make: "older than 1 year", "before 2023", "> 1 gb", ">1 gb",
/// "modified>2023", "size >= 1gb". Words in lower case. Empty where they make none.
[[nodiscard]] std::optional<BoundMeant> boundMeant(const std::vector<std::string>& words, std::size_t first);

/// The options that keep what was changed in a year, month or day, or else since a time: "modified:2023" means
/// "--newer-than 2022 --older-than 2024". Empty for what is no time.
[[nodiscard]] std::optional<std::string> withinTime(std::string_view value);

/// Whether people name the time of a change by the word ("modified", "date"), or a size ("size", "bytes").
[[nodiscard]] bool namesTime(std::string_view word);
[[nodiscard]] bool namesSize(std::string_view word);

}  // namespace KestrelCLI
