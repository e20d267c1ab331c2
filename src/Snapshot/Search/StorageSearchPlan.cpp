#include "Snapshot/Search/StorageSearchPlan.hpp"

#include "Base/DecimalText.hpp"
#include "Snapshot/Search/QueryFolding.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <initializer_list>
#include <string_view>
#include <system_error>
#include <unordered_map>

// Every word of a query is tried as one thing after the other, and the first that fits takes it:
//
//     >2gb   <10kb                a bound on the size, if what follows is a size; else a plain word
//     type:…   ext:…   in:…       a kind, an extension, a part of the path; an unknown kind is swallowed without effect
//     images   music   apps …     a category: extensions, a kind or a place
//     big   huge   recent   old   a size or an age
//     hidden                      as it says
//     anything else               a plain word, which must be found in the name or the path
//
// Filters of one sort add up where a record could not have both (extensions, kinds), and narrow where it could (bounds
// of the size, parts of the path). Nothing is ever an error: a user types on, and half a word must find something too.

namespace KestrelCore {

namespace {

constexpr double secondsPerDay = 86'400;
constexpr std::int64_t bigBytes = 500'000'000;
constexpr std::int64_t hugeBytes = 1'000'000'000;

/// What a word that stands for a group of files adds to the plan.
struct Category {
    std::vector<Text> extensions;
    std::optional<FileKind> kind;
    std::optional<Text> pathTerm;
};

const std::unordered_map<Text, FileKind>& kindsByName() {
    static const std::unordered_map<Text, FileKind> kinds = {
        {"file", FileKind::file},
        {"files", FileKind::file},
        {"folder", FileKind::directory},
        {"folders", FileKind::directory},
        {"directory", FileKind::directory},
        {"directories", FileKind::directory},
        {"app", FileKind::package},
        {"apps", FileKind::package},
        {"application", FileKind::package},
        {"applications", FileKind::package},
        {"package", FileKind::package},
        {"packages", FileKind::package},
        {"link", FileKind::symbolicLink},
        {"links", FileKind::symbolicLink},
        {"symlink", FileKind::symbolicLink},
        {"symlinks", FileKind::symbolicLink},
        {"other", FileKind::other},
    };
    return kinds;
}

const std::unordered_map<Text, Category>& categoriesByWord() {
    static const std::unordered_map<Text, Category> categories = [] {
        std::unordered_map<Text, Category> result;
        const auto add = [&](std::initializer_list<Text> words, const Category& category) {
            for (const Text& word : words) result.emplace(word, category);
        };
        const auto extensions = [](std::vector<Text> list) { return Category{std::move(list), {}, {}}; };
        // These lists belong to the search alone: those of the libraries and of the scanner differ.
        add({"image", "images", "picture", "pictures"},
            extensions({"avif", "gif", "heic", "jpeg", "jpg", "png", "raw", "svg", "tif", "tiff", "webp"}));
        add({"video", "videos"}, extensions({"avi", "m4v", "mkv", "mov", "mp4", "mpeg", "mpg", "webm"}));
        add({"music", "songs"}, extensions({"aac", "aiff", "alac", "flac", "m4a", "mp3", "ogg", "wav"}));
        add({"document", "documents", "docs"}, extensions({"csv", "doc", "docx", "key", "md", "numbers", "pages", "pdf",
                                                           "ppt", "pptx", "rtf", "txt", "xls", "xlsx"}));
        add({"archive", "archives", "installer", "installers"},
            extensions({"7z", "dmg", "gz", "iso", "pkg", "rar", "tar", "tgz", "zip"}));
        add({"app", "apps", "application", "applications"}, {{}, FileKind::package, {}});
        add({"folder", "folders", "directory", "directories"}, {{}, FileKind::directory, {}});
        add({"download", "downloads"}, {{}, {}, Text{"downloads"}});
        add({"developer", "dev"}, {{}, {}, StorageSearchPlan::developerMarker()});
        return result;
    }();
    return categories;
}

/// What follows an ASCII prefix, or empty when the token does not begin with it.
std::optional<Text> rest(const Text& token, std::string_view prefix) {
    if (!token.hasPrefix(prefix)) return std::nullopt;
    return token.slice(prefix.size(), token.byteCount() - prefix.size());
}

Text trimmingDots(const Text& text) {
    const std::string_view bytes = text.view();
    const std::size_t begin = std::min(bytes.find_first_not_of('.'), bytes.size());
    const std::size_t end = begin == bytes.size() ? begin : bytes.find_last_not_of('.') + 1;
    return text.slice(begin, end - begin);
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Checks the form of a decimal number: optional sign, digits with an optional point among or beside them, optional
/// exponent. No blanks, no hexadecimal digits, no words.
bool isDecimalNumber(std::string_view text) {
    const auto skipSign = [&] {
        if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
    };
    const auto skipDigits = [&] {
        const std::size_t count = std::min(
            static_cast<std::size_t>(std::find_if_not(text.begin(), text.end(), isDigit) - text.begin()), text.size());
        text.remove_prefix(count);
        return count;
    };
    skipSign();
    std::size_t digits = skipDigits();
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        digits += skipDigits();
    }
    if (digits == 0) return false;
    if (text.empty()) return true;
    if (text.front() != 'e' && text.front() != 'E') return false;
    text.remove_prefix(1);
    skipSign();
    return skipDigits() > 0 && text.empty();
}

/// Whether a decimal number that no double can hold is too small rather than too large: by the place of its first
/// digit that is not zero, and its exponent.
bool isTooSmall(std::string_view number) {
    const std::size_t mantissaEnd = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, mantissaEnd);
    const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
    const std::size_t leading = mantissa.find_first_of("123456789");
    if (leading == std::string_view::npos) return true;
    const double place =
        leading < point ? static_cast<double>(point - leading) - 1 : -static_cast<double>(leading - point);
    // The exponent may be longer than any integer type; its sign and a rough size are enough.
    std::string_view exponent = number.substr(std::min(mantissaEnd + 1, number.size()));
    const bool isNegative = exponent.starts_with('-');
    double value = 0;
    for (const char c : exponent) {
        if (isDigit(c)) value = value * 10 + (c - '0');
    }
    return place + (isNegative ? -value : value) < 0;
}

std::optional<double> decimalNumber(std::string_view text) {
    if (!isDecimalNumber(text)) return std::nullopt;
    if (text.front() == '+') text.remove_prefix(1);
    double value = 0;
    const std::from_chars_result result = readDecimal(text.data(), text.data() + text.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        if (!isTooSmall(text)) return std::nullopt;
        return 0;
    }
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

SearchExplanation SearchExplanation::of(const SearchQuery& query, Date now) { return StorageSearchPlan{query, now}; }

const Text& StorageSearchPlan::developerMarker() {
    static const Text marker{"__developer_storage__"};
    return marker;
}

std::optional<std::int64_t> StorageSearchPlan::size(const Text& folded) {
    struct Unit {
        std::string_view suffix;
        double bytes;
    };
    static constexpr std::array units = {Unit{"tb", 1e12}, Unit{"gb", 1e9}, Unit{"mb", 1e6}, Unit{"kb", 1e3},
                                         Unit{"b", 1}};
    std::string_view number = folded.view();
    double scale = 1;
    for (const Unit& unit : units) {
        if (!folded.hasSuffix(unit.suffix)) continue;
        number.remove_suffix(unit.suffix.size());
        scale = unit.bytes;
        break;
    }
    const std::optional<double> value = decimalNumber(number);
    if (!value || !std::isfinite(*value) || *value < 0) return std::nullopt;
    const double product = *value * scale;
    // 2^63 is the first double beyond the integers; the largest integer itself is no double.
    if (!(product < 9223372036854775808.0)) return std::nullopt;
    return static_cast<std::int64_t>(product);
}

StorageSearchPlan::StorageSearchPlan(const SearchQuery& query, Date now) {
    kinds = query.kinds;
    minimumBytes = query.minimumBytes;
    modifiedAfter = query.modifiedAfter;
    for (const Text& token : foldedQuery(query.text).splitAtWhiteSpace()) add(token, now);
}

void StorageSearchPlan::add(const Text& token, Date now) {
    if (addSizeBound(token) || addPrefixed(token) || addCategory(token) || addSizeOrAge(token, now)) return;
    if (token == Text{"hidden"}) {
        hiddenOnly = true;
        return;
    }
    terms.push_back(token);
}

bool StorageSearchPlan::addSizeBound(const Text& token) {
    if (const auto lower = rest(token, ">")) {
        const std::optional<std::int64_t> bytes = size(*lower);
        if (bytes) minimumBytes = std::max(minimumBytes, *bytes);
        return bytes.has_value();
    }
    if (const auto upper = rest(token, "<")) {
        const std::optional<std::int64_t> bytes = size(*upper);
        if (bytes) maximumBytes = std::min(maximumBytes.value_or(*bytes), *bytes);
        return bytes.has_value();
    }
    return false;
}

bool StorageSearchPlan::addPrefixed(const Text& token) {
    if (const auto kindName = rest(token, "type:")) {
        const auto found = kindsByName().find(*kindName);
        if (found != kindsByName().end()) kinds.insert(found->second);
        return true;
    }
    if (const auto fileExtension = rest(token, "ext:")) {
        extensions.insert(trimmingDots(*fileExtension));
        return true;
    }
    if (const auto word = rest(token, "in:")) {
        pathTerms.push_back(*word);
        return true;
    }
    return false;
}

bool StorageSearchPlan::addCategory(const Text& token) {
    const auto found = categoriesByWord().find(token);
    if (found == categoriesByWord().end()) return false;
    const Category& category = found->second;
    extensions.insert(category.extensions.begin(), category.extensions.end());
    if (category.kind) kinds.insert(*category.kind);
    if (category.pathTerm) pathTerms.push_back(*category.pathTerm);
    return true;
}

bool StorageSearchPlan::addSizeOrAge(const Text& token, Date now) {
    const std::string_view word = token.view();
    if (word == "big" || word == "large") {
        minimumBytes = std::max(minimumBytes, bigBytes);
    } else if (word == "huge" || word == "massive") {
        minimumBytes = std::max(minimumBytes, hugeBytes);
    } else if (word == "recent" || word == "new") {
        modifiedAfter = now.addingSeconds(-30 * secondsPerDay);
    } else if (word == "old") {
        modifiedBefore = now.addingSeconds(-365 * secondsPerDay);
    } else {
        return false;
    }
    return true;
}

}  // namespace KestrelCore
