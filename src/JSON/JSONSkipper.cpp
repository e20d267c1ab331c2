#include "JSON/JSONSkipper.hpp"

#include "KestrelCore/JSON/CodingErrors.hpp"

// A small automaton: what may come next, and one bit per open container (an object or an array). It keeps nothing of
// the value but the beginning of a literal, so that skipping gigabytes costs no memory, and it can stop after any byte.

namespace KestrelCore {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

[[noreturn]] void malformed(const char* detail) { throw DecodingError{DecodingError::Kind::dataCorrupted, "", detail}; }

}  // namespace

void JSONSkipper::accept(char c) {
    if (isInString_) {
        if (isEscaped_) {
            isEscaped_ = false;
        } else if (c == '\\') {
            isEscaped_ = true;
        } else if (c == '"') {
            isInString_ = false;
            if (expects_ != Expects::colon) endValue();  // else it was a key
        } else if (static_cast<unsigned char>(c) < 0x20) {
            malformed("A control character in a string");
        }
        return;
    }
    const bool isPunctuation = c == '{' || c == '}' || c == '[' || c == ']' || c == ',' || c == ':' || c == '"';
    if (isPunctuation || isBlank(c)) {
        endToken();
        if (!isBlank(c)) acceptStructure(c);
        return;
    }
    if (token_.empty() && expects_ != Expects::value && expects_ != Expects::valueOrEnd)
        malformed("A comma is missing");
    // Longer than any literal: cutting makes no wrong one right, and of a number every byte is checked as it comes.
    if (token_.size() < 8) token_ += c;
    const bool isNumber = token_.front() == '-' || (token_.front() >= '0' && token_.front() <= '9');
    if (isNumber && std::string_view{"+-.eE0123456789"}.find(c) == std::string_view::npos)
        malformed("Badly formed number");
}

void JSONSkipper::endToken() {
    if (token_.empty()) return;
    const bool isNumber = token_.front() == '-' || (token_.front() >= '0' && token_.front() <= '9');
    if (!isNumber && token_ != "true" && token_ != "false" && token_ != "null") malformed("Badly formed value");
    token_.clear();
    endValue();
}

void JSONSkipper::endValue() { expects_ = depth_ == 0 ? Expects::nothing : Expects::commaOrEnd; }

void JSONSkipper::open(bool isObject) {
    if (expects_ != Expects::value && expects_ != Expects::valueOrEnd) malformed("A comma is missing");
    if (enclosing_ + depth_ >= deepest) malformed("Nested too deeply");
    isObject_[depth_++] = isObject;
    expects_ = isObject ? Expects::keyOrEnd : Expects::valueOrEnd;
}

void JSONSkipper::close(bool isObject) {
    const bool mayEnd =
        expects_ == Expects::commaOrEnd || expects_ == (isObject ? Expects::keyOrEnd : Expects::valueOrEnd);
    if (depth_ == 0 || isObject_[depth_ - 1] != isObject || !mayEnd) malformed("Unbalanced bracket");
    --depth_;
    endValue();
}

void JSONSkipper::acceptStructure(char c) {
    switch (c) {
    case '{': open(true); return;
    case '[': open(false); return;
    case '}': close(true); return;
    case ']': close(false); return;
    case ',':
        if (expects_ != Expects::commaOrEnd) malformed("A value is missing");
        expects_ = isObject_[depth_ - 1] ? Expects::key : Expects::value;
        return;
    case ':':
        if (expects_ != Expects::colon) malformed("A colon stands alone");
        expects_ = Expects::value;
        return;
    default:
        isInString_ = true;
        if (expects_ == Expects::key || expects_ == Expects::keyOrEnd) {
            expects_ = Expects::colon;
        } else if (expects_ != Expects::value && expects_ != Expects::valueOrEnd) {
            malformed("A comma is missing");
        }
    }
}

void JSONSkipper::finish() {
    endToken();
    if (expects_ != Expects::nothing || isInString_) malformed("Unexpected end of a value");
}

}  // namespace KestrelCore
