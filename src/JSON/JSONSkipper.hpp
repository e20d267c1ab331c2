#pragma once

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Passes over one JSON value that nobody reads, given in pieces: checks its punctuation, brackets, strings' ends and
/// literals, and leaves escapes and the inner form of numbers alone. Throws `DecodingError`.
class JSONSkipper {
public:
    /// `depth`: how many containers already enclose the value.
    explicit JSONSkipper(std::size_t depth) : enclosing_{depth} {}

    /// One byte of the value, its end included; what follows the value must not be given.
    void accept(char c);
    /// The value must be complete.
    void finish();

private:
    /// What may come next, blanks aside; `nothing` when the value is complete.
    enum class Expects { value, valueOrEnd, key, keyOrEnd, colon, commaOrEnd, nothing };
    static constexpr std::size_t deepest = 512;

    void acceptStructure(char c);
    void open(bool isObject);
    void close(bool isObject);
    void endToken();
    void endValue();

    Expects expects_ = Expects::value;
    bool isInString_ = false;
    bool isEscaped_ = false;
    std::string token_;  ///< a literal or number being collected; long ones are cut
    std::size_t enclosing_;
    std::size_t depth_ = 0;
    std::bitset<deepest> isObject_;
};

/// Checks a whole value's text.
inline void skipJSON(std::string_view text, std::size_t depth) {
    JSONSkipper skipper{depth};
    for (const char c : text) skipper.accept(c);
    skipper.finish();
}

}  // namespace KestrelCore
