#include "Snapshot/Search/NaiveSearch.hpp"

#include "Base/TextScan.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <regex>
#include <set>
#include <string>

namespace KestrelCore::testing {

namespace {

struct Plan {
    std::vector<Text> terms;
    std::set<FileKind> kinds;
    std::set<Text> extensions;
    std::vector<Text> pathTerms;
    std::int64_t minimumBytes;
    std::optional<std::int64_t> maximumBytes;
    std::optional<Date> modifiedAfter;
    std::optional<Date> modifiedBefore;
    bool hiddenOnly = false;
};

const std::map<std::string, FileKind> kindNames = {
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

std::set<Text> extensionsOf(const std::string& word) {
    const auto isOneOf = [&](const std::set<std::string>& words) { return words.contains(word); };
    if (isOneOf({"image", "images", "picture", "pictures"}))
        return {"avif", "gif", "heic", "jpeg", "jpg", "png", "raw", "svg", "tif", "tiff", "webp"};
    if (isOneOf({"video", "videos"})) return {"avi", "m4v", "mkv", "mov", "mp4", "mpeg", "mpg", "webm"};
    if (isOneOf({"music", "songs"})) return {"aac", "aiff", "alac", "flac", "m4a", "mp3", "ogg", "wav"};
    if (isOneOf({"document", "documents", "docs"}))
        return {"csv", "doc", "docx", "key", "md",  "numbers", "pages",
                "pdf", "ppt", "pptx", "rtf", "txt", "xls",     "xlsx"};
    if (isOneOf({"archive", "archives", "installer", "installers"}))
        return {"7z", "dmg", "gz", "iso", "pkg", "rar", "tar", "tgz", "zip"};
    return {};
}

std::optional<std::int64_t> sizeOf(std::string text) {
    double scale = 1;
    for (const auto& [suffix, bytes] :
         std::vector<std::pair<std::string, double>>{{"tb", 1e12}, {"gb", 1e9}, {"mb", 1e6}, {"kb", 1e3}, {"b", 1}}) {
        if (!text.ends_with(suffix)) continue;
        text.resize(text.size() - suffix.size());
        scale = bytes;
        break;
    }
    static const std::regex number{R"([+-]?([0-9]+\.?[0-9]*|\.[0-9]+)([eE][+-]?[0-9]+)?)"};
    if (!std::regex_match(text, number)) return std::nullopt;
    const double product = std::strtod(text.c_str(), nullptr) * scale;
    if (!std::isfinite(product) || product < 0 || product >= 9223372036854775808.0) return std::nullopt;
    return static_cast<std::int64_t>(product);
}

Plan planOf(const SearchQuery& query, Date now) {
    Plan plan{{}, query.kinds, {}, {}, query.minimumBytes, {}, query.modifiedAfter, {}, false};
    for (const Text& token : query.text.folded().splitAtWhiteSpace()) {
        const std::string word = token.string();
        const auto after = [&](std::string_view prefix) { return word.substr(prefix.size()); };
        if (token.hasPrefix(">") && sizeOf(after(">"))) {
            plan.minimumBytes = std::max(plan.minimumBytes, *sizeOf(after(">")));
        } else if (token.hasPrefix("<") && sizeOf(after("<"))) {
            plan.maximumBytes = std::min(plan.maximumBytes.value_or(INT64_MAX), *sizeOf(after("<")));
        } else if (token.hasPrefix("type:")) {
            if (kindNames.contains(after("type:"))) plan.kinds.insert(kindNames.at(after("type:")));
        } else if (token.hasPrefix("ext:")) {
            std::string fileExtension = after("ext:");
            while (fileExtension.starts_with('.')) fileExtension.erase(0, 1);
            while (fileExtension.ends_with('.')) fileExtension.pop_back();
            plan.extensions.insert(fileExtension);
        } else if (token.hasPrefix("in:")) {
            plan.pathTerms.emplace_back(after("in:"));
        } else if (const std::set<Text> extensions = extensionsOf(word); !extensions.empty()) {
            plan.extensions.insert(extensions.begin(), extensions.end());
        } else if (word == "app" || word == "apps" || word == "application" || word == "applications") {
            plan.kinds.insert(FileKind::package);
        } else if (word == "folder" || word == "folders" || word == "directory" || word == "directories") {
            plan.kinds.insert(FileKind::directory);
        } else if (word == "download" || word == "downloads") {
            plan.pathTerms.emplace_back("downloads");
        } else if (word == "developer" || word == "dev") {
            plan.pathTerms.emplace_back("__developer_storage__");
        } else if (word == "big" || word == "large") {
            plan.minimumBytes = std::max<std::int64_t>(plan.minimumBytes, 500'000'000);
        } else if (word == "huge" || word == "massive") {
            plan.minimumBytes = std::max<std::int64_t>(plan.minimumBytes, 1'000'000'000);
        } else if (word == "recent" || word == "new") {
            plan.modifiedAfter = now.addingSeconds(-2'592'000);
        } else if (word == "old") {
            plan.modifiedBefore = now.addingSeconds(-31'536'000);
        } else if (word == "hidden") {
            plan.hiddenOnly = true;
        } else {
            plan.terms.push_back(token);
        }
    }
    return plan;
}

std::int64_t displayBytes(const FileRecord& record) {
    const bool isFolder = record.kind() == FileKind::directory || record.kind() == FileKind::package;
    return isFolder ? record.aggregateAllocatedBytes() : record.allocatedBytes();
}

bool passes(const FileRecord& record, const Plan& plan) {
    if (displayBytes(record) < plan.minimumBytes) return false;
    if (plan.maximumBytes && displayBytes(record) > *plan.maximumBytes) return false;
    if (!plan.kinds.empty() && !plan.kinds.contains(record.kind())) return false;
    if (!plan.extensions.empty() && !plan.extensions.contains(record.fileExtension().lowercased())) return false;
    if (plan.modifiedAfter && record.modifiedAt().value_or(Date::distantPast()) < *plan.modifiedAfter) return false;
    if (plan.modifiedBefore && record.modifiedAt().value_or(Date::distantFuture()) >= *plan.modifiedBefore)
        return false;
    if (plan.hiddenOnly && !record.isHidden()) return false;
    const Text path = record.path().lowercased();
    for (const Text& word : plan.pathTerms) {
        if (word == Text{"__developer_storage__"}) {
            bool isDeveloper = false;
            for (const char* folder :
                 {"developer", "node_modules", ".npm", ".nvm", "pnpm", ".cargo", ".rustup", ".gradle", "deriveddata"}) {
                isDeveloper = isDeveloper || path.contains(folder);
            }
            if (!isDeveloper) return false;
        } else if (!path.contains(word)) {
            return false;
        }
    }
    return true;
}

std::vector<Text> charactersOf(const Text& text) {
    std::vector<Text> characters;
    std::size_t begin = 0;
    for (const std::size_t end : characterEnds(text.view())) {
        characters.push_back(text.slice(begin, end - begin));
        begin = end;
    }
    return characters;
}

/// The whole table, row by row.
std::size_t editDistance(const std::vector<Text>& a, const std::vector<Text>& b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({substituted, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

Text stemOf(const Text& name, const Text& fileExtension) {
    if (fileExtension.isEmpty() || fileExtension.count() >= name.count()) return name;
    const Text suffix{"." + fileExtension.string()};
    if (!name.hasSuffix(suffix)) return name;
    const std::vector<Text> characters = charactersOf(name);
    std::string stem;
    for (std::size_t i = 0; i + suffix.count() < characters.size(); ++i) stem += characters[i].string();
    return Text{stem};
}

std::int64_t scoreOf(const Text& term, const Text& name, const Text& stem, const Text& path) {
    if (term == name || term == stem) return 190;
    if (name.hasPrefix(term) || stem.hasPrefix(term)) return 125;
    const std::vector<Text> words = name.words();
    for (const Text& word : words) {
        if (word == term) return 105;
    }
    for (const Text& word : words) {
        if (word.hasPrefix(term)) return 86;
    }
    if (name.contains(term)) return 70;
    if (path.contains(term)) return 30;
    if (term.count() < 4) return 0;
    const std::size_t bound = term.count() < 8 ? 1 : 2;
    std::vector<Text> candidates = words;
    for (const Text& word : stem.words()) candidates.push_back(word);
    for (const Text& word : candidates) {
        if (editDistance(charactersOf(word), charactersOf(term)) <= bound) return 38;
    }
    return 0;
}

std::optional<std::int64_t> scoreOf(const FileRecord& record, const Plan& plan) {
    const Text name = record.name().lowercased();
    const Text stem = stemOf(name, record.fileExtension().lowercased());
    const Text path = record.path().lowercased();
    std::int64_t sum = 0;
    std::string phrase;
    for (const Text& term : plan.terms) {
        const std::int64_t score = scoreOf(term, name, stem, path);
        if (score == 0) return std::nullopt;
        sum += score;
        phrase += (phrase.empty() ? "" : " ") + term.string();
    }
    if (phrase.empty()) return sum;
    if (stem == Text{phrase}) return sum + 220;
    if (name.contains(phrase)) return sum + 80;
    if (path.contains(phrase)) return sum + 30;
    return sum;
}

}  // namespace

std::vector<std::pair<FileRecord, std::int64_t>> naiveSearch(const std::vector<FileRecord>& records,
                                                             const SearchQuery& query, std::int64_t limit, Date now) {
    const Plan plan = planOf(query, now);
    std::vector<std::pair<FileRecord, std::int64_t>> results;
    for (const FileRecord& record : records) {
        if (!passes(record, plan)) continue;
        if (const auto score = scoreOf(record, plan)) results.emplace_back(record, *score);
    }
    std::stable_sort(results.begin(), results.end(), [](const auto& a, const auto& b) {
        if (a.second != b.second) return a.second > b.second;
        if (displayBytes(a.first) != displayBytes(b.first)) return displayBytes(a.first) > displayBytes(b.first);
        return NaturalOrder::compareInList(a.first.name(), b.first.name()) < 0;
    });
    if (limit <= 0) return {};
    while (results.size() > static_cast<std::uint64_t>(limit)) results.pop_back();
    return results;
}

}  // namespace KestrelCore::testing
