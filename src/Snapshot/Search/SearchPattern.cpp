#include "Snapshot/Search/SearchPattern.hpp"

#include "Base/TextScan.hpp"
#include "Snapshot/Search/EditDistance.hpp"

#include <algorithm>
#include <cstring>

namespace KestrelCore {

namespace {

/// In characters. Terms shorter than this must be found as they are: too many other words are one edit from a short
/// one.
constexpr std::size_t shortestFuzzyTerm = 4;
/// From here on two edits are forgiven.
constexpr std::size_t shortestDoublyFuzzyTerm = 8;

/// Decomposing makes a text at most this many times longer in UTF-8, and never shorter than a third of it.
constexpr std::size_t mostGrowth = 3;

int distanceBoundFor(std::size_t characters) {
    if (characters < shortestFuzzyTerm) return 0;
    return characters < shortestDoublyFuzzyTerm ? 1 : 2;
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

/// An edit changes the length by one at most, so lengths alone turn most words away.
bool isFurtherApart(std::size_t a, std::size_t b, int bound) {
    return std::max(a, b) - std::min(a, b) > static_cast<std::size_t>(bound);
}

}  // namespace

SearchPattern::SearchPattern(const Text& text)
    : text_{text.normalized()}, hasSlash_{text_.view().find('/') != std::string_view::npos} {
    const std::string decomposed = decomposedUTF8(text_.view());
    decomposedSize_ = decomposed.size();
    letters_ = letterMask(decomposed);
    distanceBound_ = distanceBoundFor(text.count());
    if (distanceBound_ == 0) return;
    if (isASCII()) {
        firstLetters_ = letters_;
        return;
    }
    characters_ = charactersOf(text_);
    for (const Text& character : characters_) firstLetters_ |= firstLetterBit(decomposedUTF8(character.view()));
}

bool SearchPattern::occursIn(const Text& text) const {
    // Without this a long pattern would be decomposed again for every name that is not ASCII.
    if (decomposedSize_ > text.byteCount() * mostGrowth) return false;
    return text.contains(text_);
}

bool SearchPattern::occursInASCII(std::string_view text) const {
    const std::string_view wanted = bytes();
    if (wanted.empty() || wanted.size() > text.size()) return false;
    return memmem(text.data(), text.size(), wanted.data(), wanted.size()) != nullptr;
}

bool SearchPattern::isNear(const Text& word) const {
    if (distanceBound_ == 0) return false;
    if (isASCII()) {
        if (word.isASCII()) return isNearASCII(word.view());
        // The pattern's characters are its bytes.
        const std::vector<Text> characters = charactersOf(word);
        if (isFurtherApart(characters.size(), bytes().size(), distanceBound_)) return false;
        const auto areEqual = [](const Text& character, char c) { return character == Text{std::string_view{&c, 1}}; };
        return isWithinEditDistance(characters.begin(), characters.end(), bytes().begin(), bytes().end(),
                                    distanceBound_, areEqual);
    }
    if (isFurtherApart(word.count(), characters_.size(), distanceBound_)) return false;
    const std::vector<Text> characters = charactersOf(word);
    return isWithinEditDistance(characters.begin(), characters.end(), characters_.begin(), characters_.end(),
                                distanceBound_, [](const Text& a, const Text& b) { return a == b; });
}

bool SearchPattern::isNearASCII(std::string_view word) const {
    if (distanceBound_ == 0) return false;
    if (isASCII()) {
        const std::string_view wanted = bytes();
        if (isFurtherApart(word.size(), wanted.size(), distanceBound_)) return false;
        return isWithinEditDistance(word.begin(), word.end(), wanted.begin(), wanted.end(), distanceBound_,
                                    [](char a, char b) { return a == b; });
    }
    if (isFurtherApart(word.size(), characters_.size(), distanceBound_)) return false;
    const auto areEqual = [](char c, const Text& character) {
        return character.byteCount() == 1 && character.view().front() == c;
    };
    return isWithinEditDistance(word.begin(), word.end(), characters_.begin(), characters_.end(), distanceBound_,
                                areEqual);
}

}  // namespace KestrelCore
