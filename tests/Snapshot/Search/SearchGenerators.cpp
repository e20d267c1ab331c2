#include "Snapshot/Search/SearchGenerators.hpp"

#include <rapidcheck.h>

#include <string>

namespace KestrelCore::testing {

namespace {

/// Pieces that meet the rules' borders: words, separators, cases, accents in both spellings, marks that begin a piece,
/// letters whose folding and lowercasing differ, singletons, syllables in parts, emoji that grow, control characters.
const std::vector<std::string> pieces = {"report",
                                         "Report",
                                         "reprot",
                                         "photo",
                                         "fotos",
                                         "phato",
                                         "2019",
                                         "219",
                                         "budget",
                                         "Kestrel",
                                         "kestral",
                                         "presenta",
                                         "tion",
                                         "presentation",
                                         "node_modules",
                                         "Downloads",
                                         "IMG",
                                         "0001",
                                         "a",
                                         "b",
                                         "e",
                                         "x",
                                         ".",
                                         "..",
                                         "-",
                                         "_",
                                         " ",
                                         "\t",
                                         "\r",
                                         "\n",
                                         "\x01",
                                         ".pdf",
                                         ".JPG",
                                         ".tar.gz",
                                         ".mp4",
                                         "é",
                                         "e\u0301",
                                         "É",
                                         "été",
                                         "\u0301",
                                         "\u0327",
                                         "straße",
                                         "STRASSE",
                                         "ς",
                                         "ΟΔΟΣ",
                                         "İ",
                                         "ﬁ",
                                         "\u212A",
                                         "\u037E",
                                         "日本",
                                         "語",
                                         "한",
                                         "\u1112",
                                         "\u1161",
                                         "\u11AB",
                                         "😀",
                                         "👍",
                                         "\U0001F3FD",
                                         "\u200D",
                                         "½",
                                         "Ⅳ",
                                         "ß",
                                         "ſ",
                                         "developer",
                                         "\u0344",
                                         "\u00B7",
                                         "Å",
                                         "\u212B",
                                         "\U000E0020",
                                         "ｆｕｌｌ",
                                         "pnpm",
                                         ".cargo"};

std::string text(std::size_t mostPieces) {
    std::string result;
    const auto count = *rc::gen::inRange<std::size_t>(0, mostPieces + 1);
    for (std::size_t i = 0; i < count; ++i) result += *rc::gen::elementOf(pieces);
    return result;
}

std::string nameText() {
    std::string name = text(3);
    return name.empty() ? "n" : name;
}

}  // namespace

SearchedRecord aSearchedRecord(std::vector<std::string>& folders) {
    SearchedRecord result;
    const std::string path = *rc::gen::elementOf(folders) + "/" + nameText();
    result.path = path;
    result.kind = *rc::gen::elementOf(
        std::vector{FileKind::file, FileKind::file, FileKind::directory, FileKind::package, FileKind::symbolicLink});
    if (result.kind == FileKind::directory) folders.push_back(path);
    result.allocatedBytes = *rc::gen::elementOf(std::vector<std::int64_t>{0, 4096, 4096, 600'000'000, -1});
    result.aggregateBytes = *rc::gen::elementOf(std::vector<std::int64_t>{0, 4096, 2'000'000'000});
    if (*rc::gen::inRange(0, 3) > 0) result.modifiedAt = searchTime.addingSeconds(-*rc::gen::inRange(0, 80'000'000));
    result.isHidden = *rc::gen::inRange(0, 4) == 0;
    // Payloads may hold what no scan gives: an extension that is not the name's, a name that is not the path's.
    if (*rc::gen::inRange(0, 6) == 0) result.fileExtension = text(1);
    if (*rc::gen::inRange(0, 10) == 0) result.name = text(2);
    return result;
}

namespace {

std::string withSlip(std::string word) {
    if (word.empty()) return word;
    const auto at = *rc::gen::inRange<std::size_t>(0, word.size());
    switch (*rc::gen::inRange(0, 4)) {
    case 0: return word.erase(at, 1);
    case 1: return word.insert(at, "q");
    case 2: word[at] = 'q'; return word;
    default: return word;
    }
}

std::string word(const std::vector<SearchedRecord>& records) {
    switch (*rc::gen::inRange(0, 6)) {
    case 0: {
        static const std::vector<std::string> filters = {
            ">1kb",      "<10kb",  ">0.5gb",    "type:folder", "type:apps", "type:nothing", "ext:pdf",
            "ext:.JPG",  "ext:",   "in:é",      "in:report",   "in:",       "in:a/b",       "hidden",
            "dev",       "images", "downloads", "big",         "huge",      "old",          "new",
            "documents", ">abc",   "app",       "in:x/",       "in:/",      "folder"};
        return *rc::gen::elementOf(filters);
    }
    case 1: return text(2);
    case 2: {
        // Part of a path, so that it may span components.
        const Text& path = (*rc::gen::elementOf(records)).path;
        const std::size_t begin = *rc::gen::inRange<std::size_t>(0, path.byteCount());
        return std::string{path.view().substr(begin, *rc::gen::inRange<std::size_t>(1, 16))};
    }
    case 3: {
        const SearchedRecord searched = *rc::gen::elementOf(records);
        return withSlip(searched.name.value_or(Path::lastComponent(searched.path)).string());
    }
    default: return withSlip(*rc::gen::elementOf(pieces));
    }
}

}  // namespace

SearchQuery aSearchQuery(const std::vector<SearchedRecord>& records) {
    std::string typed;
    const int words = *rc::gen::inRange(0, 4);
    for (int i = 0; i < words; ++i)
        typed += word(records) + *rc::gen::elementOf(std::vector<std::string>{" ", "  ", ""});
    SearchQuery result{typed};
    if (*rc::gen::inRange(0, 5) == 0) result.minimumBytes = 4096;
    if (*rc::gen::inRange(0, 8) == 0) result.kinds = {FileKind::file, FileKind::directory};
    if (*rc::gen::inRange(0, 8) == 0) result.modifiedAfter = searchTime.addingSeconds(-1'000'000);
    return result;
}

}  // namespace KestrelCore::testing
