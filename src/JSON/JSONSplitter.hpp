#pragma once

#include "JSON/JSONSkipper.hpp"

#include <bitset>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Cuts the text of one JSON object, given in pieces, into its members, and chosen array members into windows of
/// elements, so that a text of any length is read through one small buffer.
///
/// Checked here: the object's own punctuation, that brackets match and nest at most 512 deep, that strings end, that
/// nothing follows the object. What stands inside a value is the reader's business. Throws `DecodingError`.
class JSONSplitter {
public:
    enum class Wanted {
        nothing,  ///< skip the member
        value,    ///< its text, whole
        elements  ///< if it is an array: its elements, in windows; otherwise its text
    };
    struct Handler {
        std::function<Wanted(std::string_view rawKey)> member;  ///< the key as it stands between the quotes
        /// The text of a member's value.
        std::function<void(std::string_view text)> value;
        /// A window "[…]" of whole elements; `isLast` with the last one, which may be "[]".
        std::function<void(std::string_view window, bool isLast)> elements;
        /// May be empty. `text` begins with an element of a wanted array; takes whole elements (with the commas between
        /// them) from its beginning and returns how many bytes these were, or 0 to have them collected in a window.
        std::function<std::size_t(std::string_view text)> elementsAhead = {};
    };

    explicit JSONSplitter(Handler handler) : handler_{std::move(handler)} {}

    /// The next piece, of any length; the handler is called from here. After an exception the splitter is of no use any
    /// more.
    void feed(std::string_view piece);
    /// Checks that the object is complete.
    void finish();

private:
    /// Where in the text the next byte stands; the names are those of what was just passed, or is about to begin.
    enum class State {
        start,
        noObject,
        firstKey,
        key,
        insideKey,
        colon,
        valueStart,
        insideValue,
        afterValue,
        firstElement,
        elementStart,
        insideElement,
        afterElement,
        done
    };
    // Deeper nesting is refused: whoever reads a value afterwards may recurse, and no writer of ours goes beyond four.
    static constexpr std::size_t deepest = 512;
    // Large enough that starting the parser on a window costs nothing, small enough to be in the cache still when it is
    // parsed.
    static constexpr std::size_t windowSize = std::size_t{1} << 20;

    std::size_t structure(std::string_view piece, std::size_t position);
    void beginValue(char first);
    [[nodiscard]] std::size_t endOfValue(std::string_view piece, std::size_t position);
    [[nodiscard]] std::size_t endOfContainer(std::string_view piece, std::size_t position);
    void push(bool isObject);
    void pop(bool isObject);
    void endElement();
    [[noreturn]] void refuseOther() const;
    void flushWindow();
    [[nodiscard]] std::size_t takeAhead(std::string_view text);

    Handler handler_;
    State state_ = State::start;
    Wanted wanted_ = Wanted::nothing;
    std::string buffer_;                  ///< the key, value or window being collected
    std::optional<JSONSkipper> skipper_;  ///< follows a value that nobody wants

    // How many elements are collected before `elementsAhead` is asked again; twice as many after each refusal.
    static constexpr std::size_t longestWait = 256;
    std::size_t wait_ = 0;
    std::size_t nextWait_ = 1;

    // The value being passed over.
    enum class Shape { scalar, string, container };
    Shape shape_ = Shape::scalar;
    bool isComplete_ = false;
    bool isInString_ = false;
    bool isEscaped_ = false;
    std::size_t depth_ = 0;  ///< open containers of the whole text
    std::size_t base_ = 0;   ///< `depth_` before the value began
    std::bitset<deepest> isObject_;
};

}  // namespace KestrelCore
