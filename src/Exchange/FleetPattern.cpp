#include "Exchange/FleetPattern.hpp"

#include "Base/TextScan.hpp"
#include "Exchange/SearchKeys.hpp"

#include <algorithm>
#include <cstddef>
#include <string_view>

// Two edits leave one of three pieces of a term as it is, one edit one of two: so a name without any of the pieces has
// no near word. What has one is judged by a regular expression that follows the edits, "cat" with one of them:
//
//     (?:c(?:a(?:t(?:W?)|W?|Wt)|W?t|Wat)|W?at|Wcat)          W a byte of words
//
// Its size grows with the cube of the term's length for two edits; some 25,000 bytes for the longest that is made.

namespace KestrelCore {

namespace {

constexpr std::size_t shortestFuzzyTerm = 4;
constexpr std::size_t shortestDoublyFuzzyTerm = 8;
constexpr std::size_t longestExpressedTerm = 24;

constexpr std::string_view wordByte = "[a-z0-9.]";
constexpr std::string_view before = "(?:^|[^a-z0-9.])";
constexpr std::string_view behind = "(?:[^a-z0-9.]|$)";

bool isWordByte(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.'; }

/// A word byte as it stands in an expression.
std::string escaped(char c) { return c == '.' ? "[.]" : std::string{c}; }

/// What matches `term` from `at` on within `edits`, or nothing where nothing does. A 0 in the term stands for a
/// character that no ASCII word has.
std::optional<std::string> within(std::string_view term, std::size_t at, int edits) {
    if (at == term.size()) {
        std::string ends;
        for (int i = 0; i < edits; ++i) (ends += wordByte) += '?';
        return ends;
    }
    std::vector<std::string> ways;
    if (term[at] != '\0') {
        if (const auto rest = within(term, at + 1, edits)) ways.push_back(escaped(term[at]) + *rest);
    }
    if (edits > 0) {
        if (const auto rest = within(term, at + 1, edits - 1)) ways.push_back(std::string{wordByte} + "?" + *rest);
        if (const auto rest = within(term, at, edits - 1)) ways.push_back(std::string{wordByte} + *rest);
    }
    if (ways.empty()) return std::nullopt;
    if (ways.size() == 1) return ways.front();
    std::string all = "(?:";
    for (const std::string& way : ways) {
        if (&way != &ways.front()) all += '|';
        all += way;
    }
    return all + ")";
}

bool isInWords(const Text& term) {
    return !term.isEmpty() && std::all_of(term.view().begin(), term.view().end(), isWordByte);
}

std::string escaped(const Text& term) {
    std::string result;
    for (const char c : term.view()) result += escaped(c);
    return result;
}

}  // namespace

FleetPattern FleetPattern::of(const Text& term) {
    FleetPattern result;
    const std::size_t count = term.count();
    if (count < shortestFuzzyTerm) return result;
    result.distanceBound = count < shortestDoublyFuzzyTerm ? 1 : 2;

    const Text normal = term.normalized();
    const std::string_view bytes = normal.view();
    const std::vector<std::size_t> ends = characterEnds(bytes);
    const auto pieceCount = static_cast<std::size_t>(result.distanceBound) + 1;
    std::size_t begin = 0;
    for (std::size_t i = 1; i <= pieceCount; ++i) {
        const std::size_t end = ends[ends.size() * i / pieceCount - 1];
        result.pieces.push_back(SearchKeys::pattern(bytes.substr(begin, end - begin)));
        begin = end;
    }

    if (ends.size() > longestExpressedTerm) return result;
    std::string letters;
    begin = 0;
    for (const std::size_t end : ends) {
        letters += end - begin == 1 && isWordByte(bytes[begin]) ? bytes[begin] : '\0';
        begin = end;
    }
    const auto words = within(letters, 0, result.distanceBound);
    result.nearWord = words ? std::string{before} + *words + std::string{behind} : std::string{};
    return result;
}

std::optional<std::string> FleetPattern::wordExpression(const Text& term) {
    if (!isInWords(term)) return std::nullopt;
    return std::string{before} + escaped(term) + std::string{behind};
}

std::optional<std::string> FleetPattern::wordStartExpression(const Text& term) {
    if (!isInWords(term)) return std::nullopt;
    return std::string{before} + escaped(term);
}

}  // namespace KestrelCore
