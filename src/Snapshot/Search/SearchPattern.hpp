#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/Search/LetterMask.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// A text that a search looks for in many names and paths, with all that is worth finding out about it beforehand.
class SearchPattern {
public:
    explicit SearchPattern(const Text& text);

    /// In normal form C: every relation between texts is one up to canonical equivalence.
    [[nodiscard]] const Text& text() const { return text_; }
    [[nodiscard]] std::string_view bytes() const { return text_.view(); }
    [[nodiscard]] bool isASCII() const { return text_.isASCII(); }
    /// Whether it may span several components of a path.
    [[nodiscard]] bool hasSlash() const { return hasSlash_; }

    /// Whether a text with these letters may hold the pattern.
    [[nodiscard]] bool mayOccur(LetterMask held) const { return (letters_ & ~held) == 0; }
    /// Whether a name with these letters may have a word within the edit distance of the pattern.
    [[nodiscard]] bool mayBeNear(LetterMask held) const {
        return distanceBound_ > 0 && missingLetters(firstLetters_, held) <= distanceBound_;
    }

    /// Whether a text contains the pattern. Never true for the empty pattern.
    [[nodiscard]] bool occursIn(const Text& text) const;
    /// The same for a text in ASCII.
    [[nodiscard]] bool occursInASCII(std::string_view text) const;
    /// Whether a word is within the edit distance.
    [[nodiscard]] bool isNear(const Text& word) const;
    [[nodiscard]] bool isNearASCII(std::string_view word) const;

private:
    Text text_;
    bool hasSlash_;
    LetterMask letters_;
    LetterMask firstLetters_ = 0;  ///< the first of each character: what one edit can take away is one of them
    int distanceBound_ = 0;        ///< how many edits a word may be away: 0 (too short for that), 1 or 2
    std::size_t decomposedSize_;
    std::vector<Text> characters_;  ///< for patterns that are not ASCII and long enough to have a bound
};

}  // namespace KestrelCore
