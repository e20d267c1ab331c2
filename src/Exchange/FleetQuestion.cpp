#include "Exchange/FleetQuestion.hpp"

#include "Base/TextScan.hpp"
#include "Exchange/FleetPattern.hpp"
#include "Exchange/SearchKeys.hpp"
#include "Model/CategoryExtensions.hpp"
#include "Snapshot/Search/StorageSearchPlan.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <limits>

// A row's texts as SQL sees them, see SearchKeys:
//
//     text_class     0 the name is ASCII, 1 it is not, 2 the path or the shown name are another
//     name, dir      as they are; lower() makes ASCII letters small
//     name_key       in which words of the name are found byte by byte; empty where lower(name) is that key
//     path_key       the same of dir; of class 2 of the whole path
//
// A word without "/" is in a path when it is in the folder's path or in the name. The columns are asked one by one,
// with OR, and not through if(): a condition on `dir` alone is computed once for each folder of a block and not for
// each row.

namespace KestrelCore {

namespace {

constexpr std::string_view classOdd = "text_class = 2";
constexpr std::string_view classRegular = "text_class < 2";

/// Nothing that is not ASCII is in the folder's path, and the path is made of it.
constexpr std::string_view plainFolder = "(text_class < 2 AND length(dir) = lengthUTF8(dir))";

/// In ASCII rows: the name without its extension.
constexpr std::string_view stem =
    "if(extension != '' AND length(name) > length(extension) AND substring(lower(name), toInt64(length(name)) - "
    "toInt64(length(extension))) = concat('.', extension), substring(lower(name), 1, toInt64(length(name)) - "
    "toInt64(length(extension)) - 1), lower(name))";
constexpr std::string_view nameKey = "if(text_class < 2 AND name_key = '', lower(name), name_key)";
/// The key of the whole path. Casts, since columns that keep each text once do not mix with others.
constexpr std::string_view wholePathKey =
    "if(text_class = 2, CAST(path_key AS String), concat(if(dir = '/', '', if(path_key = '', lower(CAST(dir AS "
    "String)), CAST(path_key AS String))), '/', if(name_key = '', lower(name), name_key)))";

constexpr std::array<std::string_view, 5> kindNames = {"file", "directory", "package", "symbolic link", "other"};

/// What "developer" stands for.
constexpr std::array<std::string_view, 9> developerFolders = {
    "developer", "node_modules", ".npm", ".nvm", "pnpm", ".cargo", ".rustup", ".gradle", "deriveddata"};

bool hasSlash(const Text& word) { return word.view().find('/') != std::string_view::npos; }

std::string kindIn(const std::set<FileKind>& kinds) {
    std::vector<std::string> names;
    for (const FileKind kind : kinds) names.push_back(fmt::format("'{}'", kindNames[static_cast<std::size_t>(kind)]));
    return fmt::format("kind IN ({})", fmt::join(names, ", "));
}

std::string quoted(const std::vector<std::string_view>& ownWords) {
    std::vector<std::string> all;
    for (const std::string_view word : ownWords) all.push_back(fmt::format("'{}'", word));
    return fmt::format("{}", fmt::join(all, ", "));
}

/// Whether an absolute path is such that its folders are told by its bytes: no "/" at the end.
bool isPlainPath(const Text& path) {
    const std::string_view bytes = path.view();
    return bytes == "/" || (bytes.starts_with('/') && !bytes.ends_with('/'));
}

}  // namespace

std::string FleetQuestion::place(std::string_view text) {
    // As digits: nothing in them can be SQL, and unlike a subquery they are the same on every server that shares the
    // rows.
    std::string digits;
    for (const char c : text) digits += fmt::format("{:02X}", static_cast<unsigned char>(c));
    return fmt::format("unhex('{}')", digits);
}

std::string FleetQuestion::date(Date date) {
    // As bytes: a number in decimals would come out as another one in places.
    auto bits = std::bit_cast<std::uint64_t>(date.secondsSinceReferenceDate);
    std::string bytes;
    for (int i = 0; i < 8; ++i, bits >>= 8) bytes += static_cast<char>(static_cast<unsigned char>(bits & 0xFFU));
    return fmt::format("reinterpretAsFloat64({})", place(bytes));
}

std::string FleetQuestion::extensionIn(const std::set<Text>& extensions) {
    std::string any = "0";
    for (const Text& extension : extensions)
        any = FleetCondition::either(any, "extension = " + place(extension.normalized().view()));
    return any;
}

std::string FleetQuestion::extensionOf(const std::set<ItemCategory>& categories) {
    std::string any = "0";
    std::vector<std::string_view> all;
    for (const ItemCategory category : allItemCategories) {
        const std::vector<std::string_view> extensions = extensionsOf(category);
        all.insert(all.end(), extensions.begin(), extensions.end());
        if (categories.contains(category) && !extensions.empty())
            any = FleetCondition::either(any, fmt::format("extension IN ({})", quoted(extensions)));
    }
    if (!categories.contains(ItemCategory::other)) return any;
    return FleetCondition::either(any, fmt::format("extension NOT IN ({})", quoted(all)));
}

std::string FleetQuestion::types(const SearchFilter& filter) {
    std::string any = filter.kinds.empty() ? "0" : kindIn(filter.kinds);
    if (filter.categories.contains(ItemCategory::applications))
        any = FleetCondition::either(any, kindIn({FileKind::package}));
    return FleetCondition::either(any, FleetCondition::both(kindIn({FileKind::file}), extensionOf(filter.categories)));
}

std::string FleetQuestion::after(Date bound) {
    // What has no date is as old as can be for this bound, and as young as can be for the other.
    const std::string dated = FleetCondition::both("bitAnd(flags, 16) != 0", "modified >= " + date(bound));
    return Date::distantPast() < bound ? dated : FleetCondition::either(dated, "bitAnd(flags, 16) = 0");
}

std::string FleetQuestion::before(Date bound) {
    const std::string dated = FleetCondition::both("bitAnd(flags, 16) != 0", "modified < " + date(bound));
    return Date::distantFuture() < bound ? FleetCondition::either(dated, "bitAnd(flags, 16) = 0") : dated;
}

std::string FleetQuestion::plainFilters(const SearchExplanation& plan, const SearchFilter& filter) {
    std::string all = "1";
    const auto ask = [&](const std::string& condition) { all = FleetCondition::both(all, condition); };
    const std::int64_t minimum = std::max(plan.minimumBytes, filter.minimumBytes);
    if (minimum > std::numeric_limits<std::int64_t>::min()) ask(fmt::format("display >= {}", minimum));
    if (plan.maximumBytes) ask(fmt::format("display <= {}", *plan.maximumBytes));
    if (filter.maximumBytes) ask(fmt::format("display <= {}", *filter.maximumBytes));
    if (!plan.kinds.empty()) ask(kindIn(plan.kinds));
    if (!plan.extensions.empty()) ask(extensionIn(plan.extensions));
    if (!filter.extensions.empty()) ask(extensionIn(filter.extensions));
    for (const auto& bound : {plan.modifiedAfter, filter.modifiedAfter}) {
        if (bound) ask(after(*bound));
    }
    for (const auto& bound : {plan.modifiedBefore, filter.modifiedBefore}) {
        if (bound) ask(before(*bound));
    }
    if (!filter.kinds.empty() || !filter.categories.empty()) ask(types(filter));
    if (plan.hiddenOnly) ask("bitAnd(flags, 1) != 0");
    return all;
}

std::string FleetQuestion::nameHas(std::string_view pattern) {
    if (pattern.empty()) return "0";
    const std::string word = place(pattern);
    return fmt::format("(({} AND name_key = '' AND position(lower(name), {}) > 0) OR position(name_key, {}) > 0)",
                       classRegular, word, word);
}

std::string FleetQuestion::pathHas(std::string_view pattern) {
    if (pattern.empty()) return "0";
    const std::string word = place(pattern);
    return fmt::format("((path_key = '' AND position(lower(dir), {}) > 0) OR position(path_key, {}) > 0)", word, word);
}

std::string FleetQuestion::pathHasWord(const Text& word) {
    const std::string pattern = SearchKeys::pattern(word.view());
    if (pattern.empty()) return "0";
    if (hasSlash(word)) return fmt::format("position({}, {}) > 0", wholePathKey, place(pattern));
    return FleetCondition::either(pathHas(pattern), FleetCondition::both(std::string{classRegular}, nameHas(pattern)));
}

std::string FleetQuestion::anyPiece(const std::vector<std::string>& pieces, bool isInKeys) {
    std::string any = "0";
    for (const std::string& piece : pieces) {
        if (isInKeys) {
            any = FleetCondition::either(any, nameHas(piece));
        } else if (isASCII(piece)) {
            any = FleetCondition::either(any, fmt::format("position(lower(name), {}) > 0", place(piece)));
        }
    }
    return any;
}

FleetCondition FleetQuestion::isBelow(const Text& folder) {
    const bool isPlain = isPlainPath(folder);
    const std::string_view bytes = folder.view();
    if (bytes == "/") return {"1", std::string{classRegular}};
    const std::string path = place(bytes);
    const std::string inside = place(std::string{bytes} + "/");
    const std::string byBytes = fmt::format("({} AND (dir = {} OR startsWith(dir, {})))", classRegular, path, inside);
    const std::string key = SearchKeys::key(bytes);
    const std::string keyPath = place(key);
    // Of whole paths only how they begin: the slash may be another character before a name that begins with a mark.
    std::string byKeys =
        fmt::format("((path_key = '' AND (lower(dir) = {} OR startsWith(lower(dir), {}))) OR startsWith(path_key, {}))",
                    keyPath, place(key + "/"), keyPath);
    if (folder.isASCII()) byKeys = FleetCondition::both(byKeys, FleetCondition::negated(std::string{plainFolder}));
    return {FleetCondition::either(byBytes, byKeys), isPlain ? byBytes : "0"};
}

FleetCondition FleetQuestion::isAt(const Text& path) {
    const std::string_view bytes = path.view();
    const std::size_t slash = bytes.rfind('/');
    if (slash == std::string_view::npos) return {std::string{classOdd}, "0"};
    const std::string_view parent = slash == 0 ? bytes.substr(0, 1) : bytes.substr(0, slash);
    const std::string_view name = bytes.substr(slash + 1);
    const std::string byBytes =
        fmt::format("({} AND dir = {} AND name = {})", classRegular, place(parent), place(name));
    std::string byKeys = fmt::format("{} = {}", wholePathKey, place(SearchKeys::key(bytes)));
    if (path.isASCII())
        byKeys = FleetCondition::both(
            byKeys, FleetCondition::negated(FleetCondition::both(std::string{plainFolder}, "text_class = 0")));
    return {FleetCondition::either(byBytes, byKeys), isPlainPath(path) ? byBytes : "0"};
}

FleetCondition FleetQuestion::pathFilters(const SearchExplanation& plan, const SearchFilter& filter) {
    FleetCondition all;
    for (const Text& word : plan.pathTerms) {
        if (word != StorageSearchPlan::developerMarker()) {
            all &= FleetCondition::exact(pathHasWord(word));
            continue;
        }
        std::string any = "0";
        for (const std::string_view folder : developerFolders) any = FleetCondition::either(any, pathHasWord(folder));
        all &= FleetCondition::exact(any);
    }
    for (const Text& word : filter.wordsNotInPath) all &= !FleetCondition::exact(pathHasWord(word.folded()));
    for (const Text& folder : filter.notInFolders) {
        FleetCondition unwanted = isBelow(folder);
        unwanted |= isAt(folder);
        all &= !unwanted;
    }
    if (filter.inFolders.empty() && filter.wordsInPath.empty()) return all;
    FleetCondition wanted = FleetCondition::exact("0");
    for (const Text& folder : filter.inFolders) wanted |= isBelow(folder);
    for (const Text& word : filter.wordsInPath) wanted |= FleetCondition::exact(pathHasWord(word.folded()));
    return all &= wanted;
}

FleetCondition FleetQuestion::term(const Text& term) {
    FleetCondition result =
        FleetCondition::exact(FleetCondition::either(nameHas(SearchKeys::pattern(term.view())), pathHasWord(term)));
    const FleetPattern pattern = FleetPattern::of(term);
    if (pattern.distanceBound == 0) return result;
    if (!pattern.nearWord) {
        result |= {"(text_class = 0 AND " + anyPiece(pattern.pieces, false) + ")", "0"};
    } else if (!pattern.nearWord->empty()) {
        result |= FleetCondition::exact(fmt::format("(text_class = 0 AND match(concat(lower(name), '\\n', {}), {}))",
                                                    stem, place(*pattern.nearWord)));
    }
    result |= {"(text_class > 0 AND " + anyPiece(pattern.pieces, true) + ")", "0"};
    return result;
}

std::string FleetQuestion::coarseTerm(const Text& term) {
    // Wherever a text stands that has the word, of whatever class the row is: few rows are more so, and every condition
    // is computed for all.
    const auto anywhere = [](std::string_view text, std::string_view key, const std::string& pattern) {
        if (pattern.empty()) return std::string{"0"};
        return fmt::format("(position(lower({0}), {2}) > 0 OR position({1}, {2}) > 0)", text, key, place(pattern));
    };
    const std::string whole = SearchKeys::pattern(term.view());
    // A name that has the whole term has its pieces, too.
    const FleetPattern near = FleetPattern::of(term);
    std::string inName = "0";
    for (const std::string& piece : near.distanceBound > 0 ? near.pieces : std::vector{whole})
        inName = FleetCondition::either(inName, anywhere("name", "name_key", piece));
    return FleetCondition::either(inName, hasSlash(term) ? pathHasWord(term) : anywhere("dir", "path_key", whole));
}

std::string FleetQuestion::termScore(const Text& term) {
    const std::string pattern = SearchKeys::pattern(term.view());
    if (pattern.empty()) return "0";
    const std::string word = place(pattern);
    std::string result =
        fmt::format("multiIf({0} = {1} OR {2} = {1}, 190, startsWith({0}, {1}), 125", nameKey, word, stem);
    if (const auto whole = FleetPattern::wordExpression(term))
        result += fmt::format(", match({}, {}), 105", nameKey, place(*whole));
    if (const auto start = FleetPattern::wordStartExpression(term))
        result += fmt::format(", match({}, {}), 86", nameKey, place(*start));
    return result + fmt::format(", {}, 70, {}, 30, 38)", nameHas(pattern), pathHasWord(term));
}

std::string FleetQuestion::score(const std::vector<Text>& terms) {
    if (terms.empty()) return "0";
    std::vector<std::string> parts;
    std::string phrase;
    for (const Text& term : terms) {
        parts.push_back(termScore(term));
        if (!phrase.empty()) phrase += ' ';
        phrase += term.view();
    }
    const std::string pattern = SearchKeys::pattern(phrase);
    parts.push_back(fmt::format("multiIf({} = {}, 220, {}, 80, {}, 30, 0)", stem, place(pattern), nameHas(pattern),
                                pathHasWord(Text{phrase})));
    return fmt::format("toInt64({})", fmt::join(parts, " + "));
}

}  // namespace KestrelCore
