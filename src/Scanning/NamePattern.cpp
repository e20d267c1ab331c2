#include "Scanning/NamePattern.hpp"

#include <algorithm>

// Most patterns are a name or an ending, and are compared as such. The others are walked token by token; where one does
// not fit, the last run of "*" takes one character more and the walk goes on behind it. Earlier runs never need to be
// changed: whatever they could take, the last one can take as well. So there is no recursion, and nothing explodes.

namespace KestrelCore {

namespace {

/// The character at `offset`, which moves behind it. A byte that begins no well-formed character is one of its own,
/// unlike any that a pattern can spell.
char32_t nextCharacter(std::string_view text, std::size_t& offset) noexcept {
    constexpr char32_t notUnicode = 0x110000;
    const auto byteAt = [&](std::size_t at) { return static_cast<std::uint8_t>(text[at]); };
    const std::uint8_t first = byteAt(offset);
    const std::size_t length = first < 0x80   ? 1
                               : first < 0xC2 ? 0
                               : first < 0xE0 ? 2
                               : first < 0xF0 ? 3
                               : first < 0xF5 ? 4
                                              : 0;
    const auto malformed = [&] {
        ++offset;
        return notUnicode + first;
    };
    if (length == 0 || offset + length > text.size()) return malformed();
    char32_t character = length == 1 ? first : first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byteAt(offset + i) & 0xC0U) != 0x80) return malformed();
        character = character << 6 | (byteAt(offset + i) & 0x3FU);
    }
    offset += length;
    return character;
}

}  // namespace

NamePattern::NamePattern(std::string_view text) {
    using Kind = Token::Kind;
    for (std::size_t offset = 0; offset < text.size();) {
        const char c = text[offset];
        if (c == '[' && readSet(text, offset)) continue;
        ++offset;
        if (c == '*') {
            if (tokens_.empty() || tokens_.back().kind != Kind::anyRun) tokens_.push_back({.kind = Kind::anyRun});
        } else if (c == '?') {
            tokens_.push_back({.kind = Kind::anyCharacter});
        } else {
            const bool isEscape = c == '\\' && offset < text.size();
            tokens_.push_back({.kind = Kind::byte, .byte = isEscape ? text[offset++] : c});
        }
    }
    const auto isRun = [](const Token& token) { return token.kind == Kind::anyRun; };
    leastLength_ = tokens_.size() - static_cast<std::size_t>(std::ranges::count_if(tokens_, isRun));
    for (const Token& token : tokens_) {
        if (token.kind == Kind::byte) literal_ += token.byte;
    }
    if (literal_.size() == tokens_.size()) {
        form_ = Form::literal;
    } else if (literal_.size() + 1 == tokens_.size() && isRun(tokens_.front())) {
        form_ = Form::end;
    } else if (literal_.size() + 1 == tokens_.size() && isRun(tokens_.back())) {
        form_ = Form::beginning;
    }
}

bool NamePattern::readSet(std::string_view text, std::size_t& offset) {
    CharacterSet set;
    std::size_t at = offset + 1;
    if (at < text.size() && (text[at] == '!' || text[at] == '^')) {
        set.isNegated = true;
        ++at;
    }
    const auto character = [&] {
        if (text[at] == '\\' && at + 1 < text.size()) ++at;
        return nextCharacter(text, at);
    };
    // A "]" that comes first is one of the set.
    for (bool isFirst = true; at < text.size() && (isFirst || text[at] != ']'); isFirst = false) {
        const char32_t low = character();
        char32_t high = low;
        if (at + 1 < text.size() && text[at] == '-' && text[at + 1] != ']') {
            ++at;
            high = character();
        }
        set.ranges.emplace_back(low, high);
    }
    if (at >= text.size()) return false;
    offset = at + 1;
    tokens_.push_back({.kind = Token::Kind::set, .set = static_cast<std::uint32_t>(sets_.size())});
    sets_.push_back(std::move(set));
    return true;
}

bool NamePattern::CharacterSet::has(char32_t character) const noexcept {
    const bool isListed = std::ranges::any_of(
        ranges, [&](const auto& range) { return range.first <= character && character <= range.second; });
    return isListed != isNegated;
}

std::optional<char> NamePattern::lastByte() const noexcept {
    if (tokens_.empty() || tokens_.back().kind != Token::Kind::byte) return std::nullopt;
    return tokens_.back().byte;
}

bool NamePattern::matches(std::string_view name) const noexcept {
    if (name.size() < leastLength_) return false;
    switch (form_) {
    case Form::literal: return name == literal_;
    case Form::beginning: return name.starts_with(literal_);
    case Form::end: return name.ends_with(literal_);
    case Form::general: break;
    }
    return matchesGenerally(name);
}

bool NamePattern::matchesOne(const Token& token, std::string_view name, std::size_t& offset) const noexcept {
    if (offset == name.size()) return false;
    if (token.kind == Token::Kind::byte) return name[offset++] == token.byte;
    const char32_t character = nextCharacter(name, offset);
    return token.kind == Token::Kind::anyCharacter || sets_[token.set].has(character);
}

bool NamePattern::matchesGenerally(std::string_view name) const noexcept {
    std::size_t token = 0;
    std::size_t offset = 0;
    std::size_t afterRun = 0;  // the token behind the last run; 0 before there was one
    std::size_t runEnd = 0;    // how far that run reaches in the name
    for (;;) {
        if (token < tokens_.size() && tokens_[token].kind == Token::Kind::anyRun) {
            afterRun = ++token;
            runEnd = offset;
            if (token == tokens_.size()) return true;
            continue;
        }
        if (token == tokens_.size() && offset == name.size()) return true;
        if (token < tokens_.size() && matchesOne(tokens_[token], name, offset)) {
            ++token;
            continue;
        }
        if (afterRun == 0 || runEnd == name.size()) return false;
        (void)nextCharacter(name, runEnd);
        token = afterRun;
        offset = runEnd;
    }
}

}  // namespace KestrelCore
