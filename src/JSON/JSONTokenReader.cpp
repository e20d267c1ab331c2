#include "JSON/JSONTokenReader.hpp"

#include "Base/TextScan.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::size_t bufferSize = std::size_t{1} << 16;
constexpr int endOfText = -1;

constexpr bool isDigit(int c) { return c >= '0' && c <= '9'; }

/// What can't stand in a string as it is.
constexpr auto endsPlainText = [] {
    std::array<bool, 256> table{};
    for (unsigned byte = 0; byte < 0x20; ++byte) table[byte] = true;
    table['"'] = true;
    table['\\'] = true;
    return table;
}();

}  // namespace

JSONTokenReader::JSONTokenReader(Source source, const Limits& limits)
    : source_{std::move(source)}, limits_{limits}, buffer_(bufferSize, '\0') {}

void JSONTokenReader::fail(const char* what) const { throw Error{position(), what}; }

bool JSONTokenReader::more() {
    if (isEnded_) return false;
    before_ += std::exchange(at_, 0);
    end_ = source_({buffer_.data(), buffer_.size()});
    isEnded_ = end_ == 0;
    return !isEnded_;
}

int JSONTokenReader::peek() {
    if (at_ == end_ && !more()) return endOfText;
    return static_cast<unsigned char>(buffer_[at_]);
}

void JSONTokenReader::skipBlanks() {
    for (int c = peek(); c == ' ' || c == '\n' || c == '\r' || c == '\t'; c = peek()) ++at_;
}

bool JSONTokenReader::isAtEnd() {
    skipBlanks();
    return peek() == endOfText;
}

JSONTokenReader::Token JSONTokenReader::next() {
    skipBlanks();
    int c = peek();
    if (isDone_) {
        if (c != endOfText) fail("Something follows the end.");
        return Token::end;
    }
    if (expects_ == Expects::commaOrEnd) {
        tokenOffset_ = position();
        if (c == '}' || c == ']') return close(c == '}');
        if (c != ',') fail(c == endOfText ? "The text ends too early." : "A comma or an end was expected.");
        ++at_;
        expects_ = isObject_.back() ? Expects::key : Expects::value;
        skipBlanks();
        c = peek();
    }
    tokenOffset_ = position();
    if (c == endOfText) fail("The text ends too early.");
    if (expects_ == Expects::key || expects_ == Expects::keyOrEnd) {
        if (c == '}' && expects_ == Expects::keyOrEnd) return close(true);
        if (c != '"') fail("A key was expected.");
        readString();
        skipBlanks();
        if (peek() != ':') fail("A colon was expected.");
        ++at_;
        expects_ = Expects::value;
        return Token::key;
    }
    if (c == ']' && expects_ == Expects::valueOrEnd) return close(false);
    return value(c);
}

JSONTokenReader::Token JSONTokenReader::value(int first) {
    switch (first) {
    case '{': return open(true);
    case '[': return open(false);
    case '"':
        readString();
        endValue();
        return Token::string;
    case 't': return readWord("true", Token::truth);
    case 'f': return readWord("false", Token::falsehood);
    case 'n': return readWord("null", Token::null);
    default: break;
    }
    if (first != '-' && !isDigit(first)) fail("A value was expected.");
    return readNumber();
}

JSONTokenReader::Token JSONTokenReader::open(bool isObject) {
    if (isObject_.size() >= limits_.deepest) fail("It is nested too deep.");
    ++at_;
    isObject_.push_back(isObject);
    expects_ = isObject ? Expects::keyOrEnd : Expects::valueOrEnd;
    return isObject ? Token::beginObject : Token::beginArray;
}

JSONTokenReader::Token JSONTokenReader::close(bool isObject) {
    if (isObject_.back() != isObject) fail("The brackets do not match.");
    ++at_;
    isObject_.pop_back();
    endValue();
    return isObject ? Token::endObject : Token::endArray;
}

void JSONTokenReader::endValue() {
    isDone_ = isObject_.empty();
    expects_ = isDone_ ? Expects::value : Expects::commaOrEnd;
}

void JSONTokenReader::skipRest(Token first) {
    if (first != Token::beginObject && first != Token::beginArray) return;
    for (const std::size_t outside = depth() - 1; depth() > outside;) (void)next();
}

void JSONTokenReader::append(std::string_view bytes) {
    if (text_.size() + bytes.size() > limits_.longestText) fail("A text is too long.");
    text_ += bytes;
}

void JSONTokenReader::readString() {
    text_.clear();
    ++at_;
    for (;;) {
        const int c = peek();
        if (c == endOfText) fail("The text ends too early.");
        const std::size_t begin = at_;
        while (at_ < end_ && !endsPlainText[static_cast<unsigned char>(buffer_[at_])]) ++at_;
        append(std::string_view{buffer_}.substr(begin, at_ - begin));
        if (at_ == end_) continue;
        if (buffer_[at_] == '"') {
            ++at_;
            return;
        }
        if (buffer_[at_] != '\\') fail("A control character stands in a string.");
        ++at_;
        readEscape();
    }
}

void JSONTokenReader::readEscape() {
    static constexpr std::string_view letters = "\"\\/bfnrt";
    static constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
    const int c = peek();
    if (const std::size_t i = c < 0 ? std::string_view::npos : letters.find(static_cast<char>(c));
        i != std::string_view::npos) {
        ++at_;
        return append(meanings.substr(i, 1));
    }
    if (c != 'u') fail("An escape is none.");
    ++at_;
    std::u16string units{static_cast<char16_t>(readUnit())};
    // The second half of a pair, where there is one. A first half that stands alone is read like any other unit, and
    // what follows it for itself.
    while (units.back() >= 0xD800 && units.back() < 0xDC00 && peek() == '\\') {
        ++at_;
        if (peek() != 'u') {
            append(utf8FromUTF16(units));
            return readEscape();
        }
        ++at_;
        units += static_cast<char16_t>(readUnit());
        if (units.size() > limits_.longestText) fail("A text is too long.");
    }
    append(utf8FromUTF16(units));
}

unsigned JSONTokenReader::readUnit() {
    unsigned unit = 0;
    for (int i = 0; i < 4; ++i) {
        const int c = peek();
        unit *= 16;
        if (isDigit(c)) {
            unit += static_cast<unsigned>(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            unit += static_cast<unsigned>(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            unit += static_cast<unsigned>(c - 'A' + 10);
        } else {
            fail("An escape is none.");
        }
        ++at_;
    }
    return unit;
}

JSONTokenReader::Token JSONTokenReader::readNumber() {
    text_.clear();
    const auto take = [this] {
        append(std::string_view{buffer_}.substr(at_, 1));
        ++at_;
    };
    const auto digits = [&] {
        if (!isDigit(peek())) fail("A number is none.");
        while (isDigit(peek())) take();
    };
    if (peek() == '-') take();
    if (peek() == '0') {
        take();
    } else {
        digits();
    }
    if (peek() == '.') {
        take();
        digits();
    }
    if (const int c = peek(); c == 'e' || c == 'E') {
        take();
        if (const int sign = peek(); sign == '+' || sign == '-') take();
        digits();
    }
    endValue();
    return Token::number;
}

JSONTokenReader::Token JSONTokenReader::readWord(std::string_view word, Token token) {
    for (const char c : word) {
        if (peek() != c) fail("A value was expected.");
        ++at_;
    }
    endValue();
    return token;
}

}  // namespace KestrelCore
