#include "output/SearchHints.hpp"

#include "output/NearNames.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

using namespace KestrelCore;

// The library refuses no query: what it can't take as a filter is a word to look for, or filters nothing. Whoever
// mistyped a filter then sees too much or too little and not why. What the library makes of a word is asked of itself,
// one word at a time, and not worked out here again: so the hints can't disagree with the search.

namespace KestrelCLI {

namespace {

using Weight = SearchHint::Weight;

constexpr std::array<std::string_view, 5> kindNames = {"file", "folder", "app", "link", "other"};

/// Words of the language that are long enough to be told from a word with a slip in it.
constexpr std::array<std::string_view, 26> filterWords = {
    "image",        "images",    "picture",   "pictures",  "video",      "videos",     "music",
    "songs",        "document",  "documents", "archive",   "archives",   "installer",  "folder",
    "folders",      "directory", "download",  "downloads", "developer",  "installers", "application",
    "applications", "hidden",    "recent",    "massive",   "directories"};

/// What people write before a colon, and what is there instead; "{}" stands for what follows the colon.
struct Habit {
    std::array<std::string_view, 8> keys;
    std::string_view instead;
};
constexpr std::array habits{
    Habit{{"modified", "mtime", "changed", "date", "time", "age", "year", "since"},
          "--newer-than {0} or --older-than {0}"},
    Habit{{"before", "older"}, "--older-than {}"},
    Habit{{"after", "newer"}, "--newer-than {}"},
    Habit{{"size", "bytes", "larger", "bigger", "min"}, ">{}"},
    Habit{{"smaller", "max"}, "<{}"},
    Habit{{"name", "filename", "title", "text"}, "{}"},
    Habit{{"kind", "is", "types", "type"}, "type:{}"},
    Habit{{"extension", "suffix", "format", "exts", "ext"}, "ext:{}"},
    Habit{{"path", "folder", "dir", "directory", "under", "inside"}, "in:{}"},
};

/// The one of `names` that is fewest slips away; empty when none is near.
template <typename Names>
std::optional<std::string_view> nearest(std::string_view word, const Names& names, std::size_t mostSlips) {
    constexpr std::size_t longest = 16;
    if (word.empty() || word.size() > longest) return std::nullopt;
    std::optional<std::string_view> best;
    for (const std::string_view name : names) {
        const std::size_t count = name.empty() ? longest : slipsBetween(word, name);
        if (count > mostSlips || count >= name.size()) continue;
        if (count < mostSlips || !best) best = name;
        mostSlips = std::min(mostSlips, count);
    }
    return best;
}

bool isLetters(std::string_view word) {
    return std::ranges::all_of(word, [](char c) { return c >= 'a' && c <= 'z'; });
}

SearchHint kindHint(std::string_view word, std::string_view name) {
    std::string meant = "kinds are file, folder, app, link and other.";
    if (const auto category = ItemCategories::named(name)) {
        std::string type{ItemCategories::nameOf(*category)};
        std::ranges::replace(type, ' ', '-');
        meant = fmt::format("did you mean --type {}?", type);
    } else if (const auto kind = nearest(name, kindNames, 2)) {
        meant = fmt::format("did you mean type:{}?", *kind);
    }
    return {.weight = Weight::trap, .text = fmt::format("\"{}\" names no kind and filters nothing; {}", word, meant)};
}

/// For "KEY:VALUE" where the language has no such key; empty for any other word, such as an address of the web.
std::optional<SearchHint> keyHint(std::string_view word) {
    const std::size_t colon = word.find(':');
    if (colon == std::string_view::npos || colon < 2) return std::nullopt;
    const std::string_view key = word.substr(0, colon);
    const std::string_view value = word.substr(colon + 1);
    if (!isLetters(key) || value.starts_with("//")) return std::nullopt;
    const auto hint = [&](const std::string& rest) {
        return SearchHint{.weight = Weight::doubt,
                          .text = fmt::format("\"{}\" is no filter, so it is looked for as a word; {}", word, rest)};
    };
    const Habit* meant = nullptr;
    for (const Habit& habit : habits) {
        if (std::ranges::find(habit.keys, key) != habit.keys.end()) meant = &habit;
    }
    for (const Habit& habit : habits) {
        if (meant == nullptr && nearest(key, habit.keys, 1)) meant = &habit;
    }
    if (meant == nullptr || value.empty()) return hint("filters are type:, ext: and in:, and the options of search.");
    // What is a filter by itself needs no key: size:big, size:>1gb.
    const SearchExplanation alone = SearchExplanation::of(SearchQuery{Text{value}}, Date::now());
    if (alone.terms.empty()) return hint(fmt::format("did you mean {}?", value));
    return hint(fmt::format("did you mean {}?", fmt::format(fmt::runtime(meant->instead), value)));
}

std::optional<SearchHint> operatorHint(std::string_view word) {
    const auto hint = [&](std::string_view rest) {
        return SearchHint{.weight = Weight::doubt,
                          .text = fmt::format("\"{}\" is looked for as a word; {}", word, rest)};
    };
    if (word == "not" || word == "!") return hint("--not WORD leaves out what has a word in its path.");
    if (word == "and" || word == "&&" || word == "&") return hint("all words are wanted without it.");
    if (word == "or" || word == "||" || word == "|")
        return hint("only several kinds or extensions widen each other, as in ext:jpg ext:png.");
    if (word.starts_with("!") && word.size() > 1) return hint(fmt::format("did you mean --not {}?", word.substr(1)));
    return std::nullopt;
}

std::optional<SearchHint> sizeHint(std::string_view word) {
    if (!word.starts_with('>') && !word.starts_with('<') && !word.starts_with('=')) return std::nullopt;
    const char sign = word.front() == '<' ? '<' : '>';
    const std::string_view size = word.substr(std::min(word.find_first_not_of("<>="), word.size()));
    const std::string meant = fmt::format("{}{}", sign, size);
    const bool isSize = SearchExplanation::of(SearchQuery{Text{meant}}, Date::now()).terms.empty();
    return SearchHint{.weight = Weight::doubt,
                      .text = fmt::format("\"{}\" is no size, so it is looked for as a word; {}", word,
                                          isSize && !size.empty()
                                              ? fmt::format("did you mean {}?", meant)
                                              : fmt::format("sizes look like {0}10mb or {0}1.5gb.", sign))};
}

/// What to say about one word; empty for what is taken as it was surely meant.
std::optional<SearchHint> hint(const Text& token) {
    const std::string_view word = token.view();
    const SearchExplanation understood = SearchExplanation::of(SearchQuery{token}, Date::now());
    const auto advice = [](std::string text) { return SearchHint{.weight = Weight::advice, .text = std::move(text)}; };
    if (word.starts_with("type:") && understood.kinds.empty()) return kindHint(word, word.substr(5));
    if (word == "ext:") return advice("\"ext:\" with nothing after it finds items without an extension.");
    if (word == "in:") return advice("\"in:\" with nothing after it finds nothing; name a folder, as in in:downloads.");
    if (understood.terms.empty()) return std::nullopt;
    if (auto found = sizeHint(word)) return found;
    if (auto found = operatorHint(word)) return found;
    if (auto found = keyHint(word)) return found;
    if (word.starts_with("*.") && word.size() > 2) {
        return advice(
            fmt::format("\"{}\" is looked for as it stands; for an extension write ext:{}.", word, word.substr(2)));
    }
    if (word.find('*') != std::string_view::npos)
        return advice(fmt::format("\"{}\" is looked for as it stands: * stands for nothing else.", word));
    constexpr std::size_t shortestMisspelled = 5;
    if (word.size() < shortestMisspelled || !isLetters(word)) return std::nullopt;
    const auto meant = nearest(word, filterWords, 1);
    if (!meant) return std::nullopt;
    return SearchHint{.weight = Weight::doubt,
                      .text = fmt::format("\"{}\" is looked for as a word; did you mean {}?", word, *meant)};
}

}  // namespace

std::vector<SearchHint> searchHints(const std::string& query) {
    std::vector<SearchHint> hints;
    for (const Text& token : Text{query}.folded().splitAtWhiteSpace()) {
        if (auto found = hint(token)) hints.push_back(std::move(*found));
    }
    const SearchExplanation whole = SearchExplanation::of(SearchQuery{query}, Date::now());
    if (whole.maximumBytes && *whole.maximumBytes < whole.minimumBytes)
        hints.push_back({Weight::advice, "No item is at once as large and as small as that asks for."});
    return hints;
}

}  // namespace KestrelCLI
