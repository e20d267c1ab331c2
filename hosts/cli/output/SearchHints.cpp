#include "output/SearchHints.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <optional>
#include <string_view>
#include <utility>

using namespace KestrelCore;

// The library refuses no query: what it can't take as a filter is a word to look for, or filters nothing. Whoever
// mistyped a filter then sees too much or too little and not why. What the library makes of a word is asked of itself,
// one word at a time, and not worked out here again: so the hints can't disagree with the search.

namespace KestrelCLI {

namespace {

constexpr std::array<std::string_view, 5> kindNames = {"file", "folder", "app", "link", "other"};

/// How many letters must be put in, left out or changed. Only the row of the table that is being filled is kept.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({substituted, row[j] + 1, row[j - 1] + 1}));
        }
    }
    return row.back();
}

/// The kind that a misspelled name probably means; empty when none is near.
std::optional<std::string_view> nearestKind(std::string_view name) {
    constexpr std::size_t furthest = 2;
    constexpr std::size_t longest = 16;
    if (name.empty() || name.size() > longest) return std::nullopt;
    const auto nearest = std::min_element(kindNames.begin(), kindNames.end(), [&](auto a, auto b) {
        return editDistance(a, name) < editDistance(b, name);
    });
    return editDistance(*nearest, name) <= furthest ? std::optional{*nearest} : std::nullopt;
}

std::string kindHint(std::string_view word, std::string_view name) {
    const auto meant = nearestKind(name);
    return fmt::format("\"{}\" names no kind and filters nothing; {}", word,
                       meant ? fmt::format("did you mean type:{}?", *meant)
                             : "kinds are file, folder, app, link and other.");
}

/// What to say about one word; empty for what is taken as it was surely meant.
std::optional<std::string> hint(const Text& token) {
    const std::string_view word = token.view();
    const SearchExplanation understood = SearchExplanation::of(SearchQuery{token}, Date::now());
    if (word.starts_with("type:") && understood.kinds.empty()) return kindHint(word, word.substr(5));
    if ((word.starts_with('>') || word.starts_with('<')) && !understood.terms.empty()) {
        return fmt::format("\"{}\" is no size, so it is looked for as a word; sizes look like {}10mb or {}1.5gb.", word,
                           word.front(), word.front());
    }
    if (word == "ext:") return "\"ext:\" with nothing after it finds items without an extension.";
    if (word == "in:") return "\"in:\" with nothing after it finds nothing; name a folder, as in in:downloads.";
    if (word.starts_with("*.") && word.size() > 2) {
        return fmt::format("\"{}\" is looked for as it stands; for an extension write ext:{}.", word, word.substr(2));
    }
    if (word.find('*') != std::string_view::npos) {
        return fmt::format("\"{}\" is looked for as it stands: * stands for nothing else.", word);
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::string> searchHints(const std::string& query) {
    std::vector<std::string> hints;
    for (const Text& token : Text{query}.folded().splitAtWhiteSpace()) {
        if (auto found = hint(token)) hints.push_back(std::move(*found));
    }
    const SearchExplanation whole = SearchExplanation::of(SearchQuery{query}, Date::now());
    if (whole.maximumBytes && *whole.maximumBytes < whole.minimumBytes) {
        hints.emplace_back("No item is at once as large and as small as that asks for.");
    }
    return hints;
}

}  // namespace KestrelCLI
