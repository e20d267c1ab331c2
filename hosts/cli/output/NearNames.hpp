#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// How many bytes must be put in, left out, changed, or exchanged with their neighbour to make one of the other, each
/// place once. Takes the product of both lengths.
[[nodiscard]] std::size_t slipsBetween(std::string_view a, std::string_view b);

/// The names that somebody may have meant by `wanted`, nearest first, at most `most` and each once: those that differ
/// from it, whole or in one of their words, by a slip or two of the keyboard (a letter that is missing, too much,
/// another, or in the place of its neighbour; of names up to four letters one slip). Case does not count. Names as they
/// were given; they may hold anything, as `wanted` may.
[[nodiscard]] std::vector<std::string> nearNames(std::string_view wanted, const std::vector<std::string>& names,
                                                 std::size_t most = 3);

/// "Did you mean “a”, “b” or “c”?", or nothing where there are none.
[[nodiscard]] std::string didYouMean(const std::vector<std::string>& names);

}  // namespace KestrelCLI
