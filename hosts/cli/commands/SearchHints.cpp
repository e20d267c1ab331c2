#include "commands/SearchHints.hpp"

#include "commands/SearchPhrases.hpp"
#include "commands/TypeWords.hpp"
#include "output/NearNames.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>
#include <variant>

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
    Habit{{"before", "older"}, "--older-than {}"},
    Habit{{"after", "newer"}, "--newer-than {}"},
    Habit{{"size", "bytes", "length", "larger", "bigger", "min"}, ">{}"},
    Habit{{"smaller", "max"}, "<{}"},
    Habit{{"name", "filename", "title", "text"}, "{}"},
    Habit{{"modified", "mtime", "changed", "date", "time", "age", "year", "since"}, "--newer-than {}"},
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

/// The explanation of a word alone.
SearchExplanation explained(std::string_view word) {
    return SearchExplanation::of(SearchQuery{Text{word}}, Date::now());
}

std::string didYouMeanFilter(std::string_view filter) { return fmt::format("did you mean {}?", filter); }

SearchHint doubt(std::string problem, std::string meant) {
    return {.weight = Weight::doubt,
            .problem = std::move(problem),
            .outcome = ", so it is looked for as a word",
            .meant = std::move(meant)};
}

SearchHint advice(std::string problem, std::string meant) {
    return {.weight = Weight::advice, .problem = std::move(problem), .outcome = {}, .meant = std::move(meant)};
}

/// What finds the items of the kind that the word means; empty where it means none.
std::optional<std::string> kindFilter(std::string_view name) {
    if (std::ranges::find(kindNames, name) != kindNames.end()) return fmt::format("type:{}", name);
    const auto type = typeNamed(name);
    if (type && std::holds_alternative<ItemCategory>(*type)) {
        std::string category{ItemCategories::nameOf(std::get<ItemCategory>(*type))};
        std::ranges::replace(category, ' ', '-');
        return fmt::format("--type {}", category);
    }
    if (isKnownExtension(name)) return fmt::format("ext:{}", name);
    if (const auto kind = nearest(name, kindNames, 2)) return fmt::format("type:{}", *kind);
    if (const auto near = typeNameNear(name)) return fmt::format("--type {}", *near);
    return std::nullopt;
}

/// "a,b" in its parts, each behind `key`; empty where there is but one.
std::optional<std::string> parted(std::string_view key, std::string_view values) {
    std::vector<std::string> filters;
    for (std::size_t begin = 0; begin < values.size();) {
        const std::size_t end = std::min(values.find_first_of(",;|", begin), values.size());
        if (end > begin) filters.push_back(fmt::format("{}:{}", key, values.substr(begin, end - begin)));
        begin = end + 1;
    }
    if (filters.size() < 2) return std::nullopt;
    return fmt::format("{}", fmt::join(filters, " "));
}

SearchHint kindHint(std::string_view word, std::string_view name) {
    std::string meant = "kinds are file, folder, app, link and other.";
    if (const auto filters = parted("type", name); filters && !explained(*filters).kinds.empty()) {
        meant = didYouMeanFilter(*filters);
    } else if (const auto filter = kindFilter(name)) {
        meant = didYouMeanFilter(*filter);
    }
    return {.weight = Weight::trap,
            .problem = fmt::format("\"{}\" names no kind and filters nothing", word),
            .outcome = {},
            .meant = std::move(meant)};
}

/// For "KEY:VALUE" (or "KEY=VALUE") where the language has no such key; empty for any other word, such as an address of
/// the web.
std::optional<SearchHint> keyHint(std::string_view word) {
    const std::size_t colon = word.find_first_of(":=");
    if (colon == std::string_view::npos || colon < 2) return std::nullopt;
    const std::string_view key = word.substr(0, colon);
    const std::string_view value = word.substr(colon + 1);
    if (!isLetters(key) || value.starts_with("//")) return std::nullopt;
    const Habit* meant = nullptr;
    for (const Habit& habit : habits) {
        if (std::ranges::find(habit.keys, key) != habit.keys.end()) meant = &habit;
    }
    const bool isExact = meant != nullptr;
    // Only what has a colon looks like a filter whatever stands before it.
    if (word[colon] == '=' && !isExact) return std::nullopt;
    for (const Habit& habit : habits) {
        if (meant == nullptr && nearest(key, habit.keys, 1)) meant = &habit;
    }
    const auto hint = [&](std::string rest) {
        return doubt(fmt::format("\"{}\" is no filter", word), std::move(rest));
    };
    if (meant == nullptr || value.empty()) return hint("filters are type:, ext: and in:, and the options of search.");
    // What is a filter by itself needs no key: size:big, size:>1gb.
    if (explained(value).terms.empty()) return hint(didYouMeanFilter(value));
    if (meant->instead == "type:{}") {
        if (const auto filter = kindFilter(value)) return hint(didYouMeanFilter(*filter));
    }
    if (meant->instead == "--newer-than {}") {
        if (auto filter = withinTime(value)) return hint(didYouMeanFilter(*filter));
    }
    return hint(didYouMeanFilter(fmt::format(fmt::runtime(meant->instead), value)));
}

std::optional<SearchHint> operatorHint(std::string_view word) {
    const auto hint = [&](std::string rest) {
        return doubt(fmt::format("\"{}\" is no operator", word), std::move(rest));
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
    const bool isSize = !size.empty() && explained(meant).terms.empty();
    return doubt(fmt::format("\"{}\" is no size", word),
                 isSize ? didYouMeanFilter(meant) : fmt::format("sizes look like {0}10mb or {0}1.5gb.", sign));
}

/// Several extensions in one filter, which is that of one extension with commas in it.
std::optional<SearchHint> listHint(std::string_view word) {
    constexpr std::string_view key = "ext:";
    if (!word.starts_with(key)) return std::nullopt;
    const auto filters = parted("ext", word.substr(key.size()));
    if (!filters) return std::nullopt;
    return SearchHint{.weight = Weight::doubt,
                      .problem = fmt::format("\"{}\" means one extension with a comma in it", word),
                      .outcome = {},
                      .meant = didYouMeanFilter(*filters)};
}

/// What to say about one word; empty for what is taken as it was surely meant.
std::optional<SearchHint> hint(std::string_view word) {
    const SearchExplanation understood = explained(word);
    if (word.starts_with("type:") && understood.kinds.empty()) return kindHint(word, word.substr(5));
    if (word == "ext:") return advice("\"ext:\" has nothing after it", "so it finds items without an extension.");
    if (word == "in:")
        return advice("\"in:\" has nothing after it", "so it finds nothing; name a folder, as in in:downloads.");
    if (auto found = listHint(word)) return found;
    if (understood.terms.empty()) return std::nullopt;
    if (auto found = sizeHint(word)) return found;
    if (auto found = operatorHint(word)) return found;
    if (auto found = keyHint(word)) return found;
    if (word.starts_with("*.") && word.size() > 2) {
        return advice(fmt::format("\"{}\" is looked for as it stands", word),
                      fmt::format("for an extension write ext:{}.", word.substr(2)));
    }
    if (word.find('*') != std::string_view::npos)
        return advice(fmt::format("\"{}\" is looked for as it stands", word), "* stands for nothing else.");
    constexpr std::size_t shortestMisspelled = 5;
    if (word.size() < shortestMisspelled || !isLetters(word)) return std::nullopt;
    const auto meant = nearest(word, filterWords, 1);
    if (!meant) return std::nullopt;
    return doubt(fmt::format("\"{}\" is no filter", word), didYouMeanFilter(*meant));
}

/// Of several words together; `count` becomes how many.
std::optional<SearchHint> phraseHint(const std::vector<std::string>& words, std::size_t first, std::size_t& count) {
    const auto meant = boundMeant(words, first);
    if (!meant) return std::nullopt;
    // A bound in one word that the language knows.
    if (meant->words == 1 && explained(words[first]).terms.empty()) return std::nullopt;
    count = std::min(meant->words, words.size() - first);
    std::string written = words[first];
    for (std::size_t i = 1; i < count; ++i) written += ' ' + words[first + i];
    SearchHint hint = doubt(fmt::format("\"{}\" is no filter", written), didYouMeanFilter(meant->filter));
    if (!meant->isCertain) hint.weight = Weight::advice;
    if (count > 1) hint.outcome = ", so its words are looked for";
    return hint;
}

}  // namespace

std::vector<SearchHint> searchHints(const std::string& query) {
    std::vector<SearchHint> hints;
    std::vector<std::string> words;
    for (const Text& token : Text{query}.folded().splitAtWhiteSpace()) words.push_back(token.string());
    for (std::size_t first = 0; first < words.size();) {
        std::size_t count = 1;
        auto found = phraseHint(words, first, count);
        if (!found) found = hint(words[first]);
        if (found) hints.push_back(std::move(*found));
        first += count;
    }
    const SearchExplanation whole = SearchExplanation::of(SearchQuery{query}, Date::now());
    if (whole.maximumBytes && *whole.maximumBytes < whole.minimumBytes)
        hints.push_back(
            advice("No item is at once as large and as small as that asks for", "> is at least, < at most."));
    return hints;
}

void weighWords(const Session& session, const std::string& query, SearchReader reader, DoubtfulWords doubtful) {
    std::vector<std::string> errors;
    std::vector<std::string> advice;
    bool hasDoubt = false;
    for (const SearchHint& hint : searchHints(query)) {
        const bool isDoubt = hint.weight == SearchHint::Weight::doubt;
        if (isDoubt && doubtful == DoubtfulWords::taken) continue;
        const bool isError = hint.weight == SearchHint::Weight::trap || (isDoubt && reader == SearchReader::script);
        hasDoubt = hasDoubt || (isDoubt && isError);
        if (isError) {
            errors.push_back(hint.refusal());
        } else {
            advice.push_back(hint.told());
        }
    }
    if (hasDoubt) errors.emplace_back("--literal looks for words as they stand.");
    if (!errors.empty()) throw UsageError{fmt::format("{}", fmt::join(errors, " "))};
    for (const std::string& each : advice) session.say(each);
}

}  // namespace KestrelCLI
