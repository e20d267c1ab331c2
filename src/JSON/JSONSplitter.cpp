#include "JSON/JSONSplitter.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

// The splitter looks at structure only, and at most of the text not even at that: inside a string it leaps from one
// quote or backslash to the next, inside a container it counts brackets. What it finds goes one of four ways:
//
//     {  "id": "…",                a wanted value: collected whole, then handed on
//        "unknown": {…},           nobody's: followed by a JSONSkipper, never collected
//        "records": [              wanted elements:
//             {…},{…},{…},               plain ones are taken from the piece itself, without a copy (`elementsAhead`)
//             { … },{ … } ]              others are collected into a window "[…]" of a megabyte and handed on together
//     }
//
// A piece may end at any byte, inside an escape too: all that is known stands in members, none of it on the stack.
// Memory is bounded by the largest single wanted value or element and one window.

namespace KestrelCore {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

[[noreturn]] void malformed(const char* detail) { throw DecodingError{DecodingError::Kind::dataCorrupted, "", detail}; }

/// The first '"' or '\\' from `position`, eight bytes at a time; the size when there is none.
std::size_t findQuoteOrBackslash(std::string_view text, std::size_t position) {
    constexpr std::uint64_t ones = 0x0101010101010101U;
    constexpr std::uint64_t highs = 0x8080808080808080U;
    const auto holds = [](std::uint64_t word, std::uint64_t byte) {
        const std::uint64_t difference = word ^ (ones * byte);
        return (difference - ones) & ~difference & highs;
    };
    for (; position + 8 <= text.size(); position += 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, text.data() + position, 8);
        if ((holds(word, '"') | holds(word, '\\')) != 0) break;
    }
    while (position < text.size() && text[position] != '"' && text[position] != '\\') ++position;
    return position;
}

}  // namespace

void JSONSplitter::push(bool isObject) {
    if (depth_ == deepest) malformed("Nested too deeply");
    isObject_[depth_++] = isObject;
}

void JSONSplitter::pop(bool isObject) {
    if (depth_ == 0 || isObject_[depth_ - 1] != isObject) malformed("Unbalanced bracket");
    --depth_;
}

void JSONSplitter::beginValue(char first) {
    base_ = depth_;
    isComplete_ = false;
    isInString_ = false;
    isEscaped_ = false;
    if (first == '{' || first == '[') {
        shape_ = Shape::container;
    } else if (first == '"') {
        shape_ = Shape::string;
    } else if (first == ',' || first == ':' || first == '}' || first == ']') {
        malformed("A value is missing");
    } else {
        shape_ = Shape::scalar;
    }
}

/// Where the value ends, or the piece when it goes on; `isComplete_` tells which.
std::size_t JSONSplitter::endOfValue(std::string_view piece, std::size_t position) {
    if (shape_ == Shape::scalar) {
        for (; position < piece.size(); ++position) {
            const char c = piece[position];
            if (c == ',' || c == '}' || c == ']' || isBlank(c)) {
                isComplete_ = true;
                break;
            }
            if (c == '"' || c == '{' || c == '[' || c == ':') malformed("Badly formed value");
        }
        return position;
    }
    return endOfContainer(piece, position);
}

std::size_t JSONSplitter::endOfContainer(std::string_view piece, std::size_t position) {
    while (position < piece.size()) {
        if (isInString_) {
            if (isEscaped_) {
                isEscaped_ = false;
                ++position;
                continue;
            }
            position = findQuoteOrBackslash(piece, position);
            if (position == piece.size()) break;
            if (piece[position++] == '\\') {
                isEscaped_ = true;
                continue;
            }
            isInString_ = false;
            if (shape_ == Shape::string) {
                isComplete_ = true;
                return position;
            }
            continue;
        }
        switch (piece[position++]) {
        case '"': isInString_ = true; break;
        case '{': push(true); break;
        case '[': push(false); break;
        case '}':
        case ']':
            pop(piece[position - 1] == '}');
            if (depth_ == base_) {
                isComplete_ = true;
                return position;
            }
            break;
        default: break;
        }
    }
    return position;
}

void JSONSplitter::endElement() {
    // The window so far, without the comma that may follow.
    state_ = State::afterElement;
    if (wait_ > 0) --wait_;
    if (buffer_.size() >= windowSize) flushWindow();
}

void JSONSplitter::flushWindow() {
    if (buffer_.size() == 1) return;
    buffer_ += ']';
    handler_.elements(buffer_, false);
    buffer_.assign(1, '[');
}

/// Elements that the handler takes from the piece itself, in their turn after those collected so far.
std::size_t JSONSplitter::takeAhead(std::string_view text) {
    if (!handler_.elementsAhead || wait_ > 0) return 0;
    flushWindow();
    const std::size_t taken = handler_.elementsAhead(text);
    if (taken > 0) {
        nextWait_ = 1;
        state_ = State::afterElement;
    } else {
        wait_ = nextWait_;
        nextWait_ = std::min(nextWait_ * 2, longestWait);
    }
    return taken;
}

/// One byte of the text outside keys and values.
std::size_t JSONSplitter::structure(std::string_view piece, std::size_t position) {
    const char c = piece[position];
    if (isBlank(c)) return position + 1;
    switch (state_) {
    case State::start:
        if (c != '{') {
            state_ = State::noObject;
            return position;
        }
        push(true);
        state_ = State::firstKey;
        return position + 1;
    case State::firstKey:
    case State::key:
        if (c == '}' && state_ == State::firstKey) {
            pop(true);
            state_ = State::done;
            return position + 1;
        }
        if (c != '"') malformed("A key is missing");
        buffer_.clear();
        shape_ = Shape::string;
        isComplete_ = false;
        isInString_ = true;
        isEscaped_ = false;
        state_ = State::insideKey;
        return position + 1;
    case State::colon:
        if (c != ':') malformed("A colon is missing");
        state_ = State::valueStart;
        return position + 1;
    case State::valueStart:
        buffer_.clear();
        if (wanted_ == Wanted::elements && c == '[') {
            push(false);
            buffer_ = '[';
            state_ = State::firstElement;
            return position + 1;
        }
        beginValue(c);
        skipper_.reset();
        if (wanted_ == Wanted::nothing) skipper_.emplace(depth_);
        state_ = State::insideValue;
        return position;
    case State::afterValue:
        if (c == ',') {
            state_ = State::key;
        } else if (c == '}') {
            pop(true);
            state_ = State::done;
        } else {
            malformed("A comma is missing");
        }
        return position + 1;
    case State::firstElement:
    case State::elementStart:
        if (c != ']' || state_ != State::firstElement) {
            if (const std::size_t taken = takeAhead(piece.substr(position))) return position + taken;
            if (buffer_.size() > 1) buffer_ += ',';
            beginValue(c);
            state_ = State::insideElement;
            return position;
        }
        [[fallthrough]];
    case State::afterElement:
        if (c == ',') {
            state_ = State::elementStart;
        } else if (c == ']') {
            pop(false);
            buffer_ += ']';
            handler_.elements(buffer_, true);
            buffer_.clear();
            state_ = State::afterValue;
        } else {
            malformed("A comma is missing");
        }
        return position + 1;
    default: malformed("Text after the end");
    }
}

void JSONSplitter::feed(std::string_view piece) {
    std::size_t position = 0;
    while (position < piece.size()) {
        switch (state_) {
        case State::insideKey: {
            const std::size_t end = endOfContainer(piece, position);
            buffer_.append(piece, position, end - position);
            position = end;
            if (isComplete_) {
                buffer_.pop_back();  // the closing quote
                wanted_ = handler_.member(buffer_);
                state_ = State::colon;
            }
            break;
        }
        case State::insideValue: {
            const std::size_t end = endOfValue(piece, position);
            if (skipper_) {
                for (const char c : piece.substr(position, end - position)) skipper_->accept(c);
            } else {
                buffer_.append(piece, position, end - position);
            }
            position = end;
            if (isComplete_) {
                if (skipper_)
                    skipper_->finish();
                else
                    handler_.value(buffer_);
                state_ = State::afterValue;
            }
            break;
        }
        case State::insideElement: {
            const std::size_t end = endOfValue(piece, position);
            buffer_.append(piece, position, end - position);
            position = end;
            if (isComplete_) endElement();
            break;
        }
        case State::noObject:
            // Perhaps "null", which a piece may end within: the next byte tells.
            buffer_ += piece[position++];
            if (buffer_.size() > std::string_view{"null"}.size()) refuseOther();
            break;
        default: position = structure(piece, position);
        }
    }
}

/// A "null" alone is a missing value, anything else one of another type.
void JSONSplitter::refuseOther() const {
    const bool isNull = buffer_.starts_with("null") && (buffer_.size() == 4 || isBlank(buffer_[4]));
    throw DecodingError{isNull ? DecodingError::Kind::valueNotFound : DecodingError::Kind::typeMismatch, "",
                        "Not an object"};
}

void JSONSplitter::finish() {
    if (state_ == State::noObject) refuseOther();
    if (state_ != State::done) malformed("Unexpected end of the text");
}

}  // namespace KestrelCore
