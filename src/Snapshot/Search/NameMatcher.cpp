#include "Snapshot/Search/NameMatcher.hpp"

#include "Base/TextScan.hpp"

#include <algorithm>

// Every rule stands here twice: for names and terms in ASCII on bytes, without making a text, and for everything else
// on characters through `Text`. The second way is the definition; the first is what nearly all names go through.

namespace KestrelCore {

namespace {

/// What words are made of, in lowercased ASCII.
bool isWordByte(char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.'; }

/// Bytes of an ASCII name without its extension.
std::size_t stemLength(std::string_view name, std::string_view extension) {
    if (extension.empty() || name.size() <= extension.size() || !name.ends_with(extension)) return name.size();
    const std::size_t dot = name.size() - extension.size() - 1;
    return name[dot] == '.' ? dot : name.size();
}

Text stemOf(const Text& name, const Text& extension) {
    if (extension.isEmpty()) return name;
    const Text suffix = Text::concatenating({".", extension.view()});
    if (!name.hasSuffix(suffix)) return name;
    // Counted in characters: an equal extension may be spelled with other bytes.
    const std::vector<std::size_t> ends = characterEnds(name.view());
    const std::size_t dropped = suffix.count();
    if (dropped > ends.size()) return name;
    return name.slice(0, dropped == ends.size() ? 0 : ends[ends.size() - dropped - 1]);
}

/// Whether a word of the text, in lowercased ASCII, is near the term.
bool hasNearWord(const SearchPattern& term, std::string_view lowered) {
    std::size_t begin = 0;
    for (std::size_t end = 0; end <= lowered.size(); ++end) {
        if (end < lowered.size() && isWordByte(lowered[end])) continue;
        if (end > begin && term.isNearASCII(lowered.substr(begin, end - begin))) return true;
        begin = end + 1;
    }
    return false;
}

}  // namespace

void NameMatcher::set(std::string_view name, bool isASCII, const Text& loweredExtension) {
    isASCII_ = isASCII && loweredExtension.isASCII();
    words_.reset();
    if (isASCII_) {
        lowered_.clear();
        lowercase(name, lowered_);
        stemLength_ = stemLength(lowered_, loweredExtension.view());
        return;
    }
    text_ = Text{name}.lowercased();
    stem_ = stemOf(text_, loweredExtension);
}

std::int64_t NameMatcher::score(const SearchPattern& term) { return isASCII_ ? scoreASCII(term) : scoreText(term); }

std::int64_t NameMatcher::scoreASCII(const SearchPattern& term) const {
    if (!term.isASCII()) return TermScore::none;
    const std::string_view name = lowered_;
    const std::string_view wanted = term.bytes();
    if (!term.occursInASCII(name)) return TermScore::none;
    if (name.starts_with(wanted)) {
        const bool isWhole = wanted.size() == name.size() || wanted.size() == stemLength_;
        return isWhole ? TermScore::equalsName : TermScore::beginsName;
    }
    // A term that holds a border itself lies in no word.
    if (!std::all_of(wanted.begin(), wanted.end(), isWordByte)) return TermScore::inName;
    std::int64_t best = TermScore::inName;
    // An occurrence begins a word where no byte of a word stands before it, and is the word where none follows.
    for (std::size_t begin = 1; begin + wanted.size() <= name.size(); ++begin) {
        if (isWordByte(name[begin - 1]) || name.compare(begin, wanted.size(), wanted) != 0) continue;
        const std::size_t end = begin + wanted.size();
        if (end == name.size() || !isWordByte(name[end])) return TermScore::equalsWord;
        best = TermScore::beginsWord;
    }
    return best;
}

std::int64_t NameMatcher::scoreText(const SearchPattern& term) {
    const Text& wanted = term.text();
    if (text_ == wanted || stem_ == wanted) return TermScore::equalsName;
    if (text_.hasPrefix(wanted) || stem_.hasPrefix(wanted)) return TermScore::beginsName;
    findWords();
    if (std::find(words_->begin(), words_->end(), wanted) != words_->end()) return TermScore::equalsWord;
    const auto begins = [&](const Text& word) { return word.hasPrefix(wanted); };
    if (std::any_of(words_->begin(), words_->end(), begins)) return TermScore::beginsWord;
    return term.occursIn(text_) ? TermScore::inName : TermScore::none;
}

bool NameMatcher::isNear(const SearchPattern& term) {
    if (isASCII_) {
        const std::string_view name = lowered_;
        return hasNearWord(term, name) || (stemLength_ < name.size() && hasNearWord(term, name.substr(0, stemLength_)));
    }
    findWords();
    const auto isNear = [&](const Text& word) { return term.isNear(word); };
    return std::any_of(words_->begin(), words_->end(), isNear) ||
           std::any_of(stemWords_.begin(), stemWords_.end(), isNear);
}

bool NameMatcher::isStem(const SearchPattern& phrase) const {
    if (!isASCII_) return stem_ == phrase.text();
    return phrase.isASCII() && phrase.bytes() == std::string_view{lowered_}.substr(0, stemLength_);
}

bool NameMatcher::contains(const SearchPattern& pattern) const {
    if (!isASCII_) return pattern.occursIn(text_);
    return pattern.isASCII() && pattern.occursInASCII(lowered_);
}

bool NameMatcher::mayBegin(std::string_view ascii) const {
    return !isASCII_ || std::string_view{lowered_}.starts_with(ascii);
}

void NameMatcher::findWords() {
    if (words_) return;
    words_ = text_.words();
    stemWords_ = stem_.words();
}

}  // namespace KestrelCore
