#include "Applications/Bundles/PropertyList.hpp"

#include "Base/TextScan.hpp"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

// The grammar, with white space and both kinds of comments (/* … */ and // …) allowed between any two tokens:
//
//   list       = dictionary | pairs                      pairs only outermost: that is a .strings file
//   dictionary = "{" pairs "}"
//   pairs      = { string [ "=" value ] ";" }            a key alone stands for itself
//   value      = string | dictionary | array | data
//   array      = "(" [ value { "," value } [ "," ] ] ")"
//   data       = "<" hexadecimal digits in pairs ">"
//   string     = a quoted one with escapes | a plain word
//
// Containers are kept on a stack of our own, so that nesting costs no call frames; the limits are checked as they grow.

namespace KestrelCore {
namespace {

/// Collects a quoted string: bytes of UTF-8, and UTF-16 units from escapes, whose halves of pairs find each other.
class QuotedString {
public:
    explicit QuotedString(std::string& out) : out_{out} {}

    void appendByte(char byte) {
        flush();
        out_.push_back(byte);
    }
    void appendUnit(std::uint32_t unit) { units_.push_back(static_cast<char16_t>(unit)); }
    /// No unit follows.
    void flush() {
        if (units_.empty()) return;
        out_ += utf8FromUTF16(units_);
        units_.clear();
    }

private:
    std::string& out_;
    std::u16string units_;
};

std::string fromUTF16(std::string_view bytes, bool isBigEndian) {
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const std::uint32_t first = static_cast<unsigned char>(bytes[i]);
        const std::uint32_t second = static_cast<unsigned char>(bytes[i + 1]);
        units.push_back(static_cast<char16_t>(isBigEndian ? first << 8U | second : second << 8U | first));
    }
    return utf8FromUTF16(units);
}

/// The text in UTF-8. Without a byte order mark a NUL among the first two bytes tells UTF-16: no text begins with one.
std::string decoded(std::string_view bytes) {
    if (bytes.starts_with("\xFE\xFF")) return fromUTF16(bytes.substr(2), true);
    if (bytes.starts_with("\xFF\xFE")) return fromUTF16(bytes.substr(2), false);
    if (bytes.starts_with("\xEF\xBB\xBF")) return std::string{bytes.substr(3)};
    if (bytes.size() >= 2 && bytes[0] == '\0') return fromUTF16(bytes, true);
    if (bytes.size() >= 2 && bytes[1] == '\0') return fromUTF16(bytes, false);
    return std::string{bytes};
}

bool isWordCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' || c == '$' ||
           c == '/' || c == ':' || c == '.' || c == '-' || static_cast<unsigned char>(c) >= 0x80;
}

/// The value of a digit in a base up to 16; -1 for another character.
int digitValue(char c, int base) {
    const int value = c >= '0' && c <= '9'   ? c - '0'
                      : c >= 'a' && c <= 'f' ? c - 'a' + 10
                      : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                             : -1;
    return value < base ? value : -1;
}

class Parser {
public:
    explicit Parser(std::string_view text) : text_{text} {}

    std::optional<PropertyListStrings> run() {
        if (!skipSpace() || isAtEnd()) return std::nullopt;
        const bool hasBraces = takeIf('{');
        open_.push_back('{');
        while (true) {
            if (!skipSpace()) return std::nullopt;
            if (isAtEnd()) {
                if (open_.size() == 1 && !hasBraces) return std::move(strings_);
                return std::nullopt;
            }
            const bool isSound = open_.back() == '{' ? takeDictionaryStep() : takeArrayStep();
            if (!isSound) return std::nullopt;
            if (!open_.empty()) continue;
            if (!hasBraces || !skipSpace() || !isAtEnd()) return std::nullopt;
            return std::move(strings_);
        }
    }

private:
    bool isAtEnd() const { return position_ == text_.size(); }
    char current() const { return text_[position_]; }
    bool takeIf(char c) {
        if (isAtEnd() || current() != c) return false;
        ++position_;
        return true;
    }

    /// False for a comment without an end.
    bool skipSpace() {
        while (!isAtEnd()) {
            const std::string_view rest = text_.substr(position_);
            if (rest.starts_with("/*")) {
                const std::size_t end = text_.find("*/", position_ + 2);
                if (end == std::string_view::npos) return false;
                position_ = end + 2;
            } else if (rest.starts_with("//")) {
                position_ = std::min(text_.find_first_of("\r\n", position_), text_.size());
            } else if (rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9")) {
                position_ += 3;  // line and paragraph separator
            } else if (current() == ' ' || (current() >= '\t' && current() <= '\r')) {
                ++position_;
            } else {
                return true;
            }
        }
        return true;
    }

    /// One pair, up to its value where that is a container; or the end of the dictionary.
    bool takeDictionaryStep() {
        if (takeIf('}')) return close();
        std::string key;
        if (!takeString(key) || !skipSpace()) return false;
        if (takeIf(';')) {
            keep(key, key);
            return true;
        }
        if (!takeIf('=') || !skipSpace() || isAtEnd()) return false;
        if (current() == '{' || current() == '(') keep(key, std::nullopt);
        if (takeContainerStart()) return isWithinLimits();
        std::optional<std::string> value;
        if (!takeScalar(value)) return false;
        keep(key, value);
        return takeSeparatorAfterValue();
    }

    bool takeArrayStep() {
        if (takeIf(')')) return close();
        if (takeContainerStart()) return isWithinLimits();
        std::optional<std::string> value;
        return takeScalar(value) && takeSeparatorAfterValue();
    }

    bool takeContainerStart() {
        if (current() != '{' && current() != '(') return false;
        open_.push_back(current());
        ++position_;
        ++objects_;
        return true;
    }

    /// Ends the innermost container, which is itself a value of the one around it.
    bool close() {
        open_.pop_back();
        return open_.empty() || takeSeparatorAfterValue();
    }

    bool takeSeparatorAfterValue() {
        if (!skipSpace()) return false;
        if (open_.back() == '{') return takeIf(';');
        return takeIf(',') || (!isAtEnd() && current() == ')');
    }

    bool isWithinLimits() const {
        return objects_ <= PropertyListLimits::objects && open_.size() <= PropertyListLimits::nesting;
    }

    /// A string, or data, which leaves `value` empty.
    bool takeScalar(std::optional<std::string>& value) {
        if (isAtEnd()) return false;
        if (current() == '<') return takeData();
        std::string string;
        if (!takeString(string)) return false;
        value = std::move(string);
        return true;
    }

    bool takeData() {
        if (++objects_ > PropertyListLimits::objects) return false;
        std::size_t digits = 0;
        for (++position_; !isAtEnd(); ++position_) {
            const char c = current();
            if (c == '>') {
                ++position_;
                return digits % 2 == 0;
            }
            if (digitValue(c, 16) >= 0) {
                ++digits;
            } else if (c != ' ' && (c < '\t' || c > '\r')) {
                return false;
            }
        }
        return false;
    }

    bool takeString(std::string& string) {
        if (isAtEnd() || ++objects_ > PropertyListLimits::objects) return false;
        if (current() == '"' || current() == '\'') return takeQuoted(string);
        const std::size_t start = position_;
        while (!isAtEnd() && isWordCharacter(current())) ++position_;
        string = text_.substr(start, position_ - start);
        return !string.empty();
    }

    bool takeQuoted(std::string& string) {
        const char quote = current();
        ++position_;
        QuotedString quoted{string};
        while (!isAtEnd()) {
            const char c = current();
            ++position_;
            if (c == quote) {
                quoted.flush();
                return true;
            }
            if (c != '\\') {
                quoted.appendByte(c);
            } else if (!takeEscape(quoted)) {
                return false;
            }
        }
        return false;
    }

    bool takeEscape(QuotedString& quoted) {
        if (isAtEnd()) return false;
        const char c = current();
        ++position_;
        switch (c) {
        case 'a': quoted.appendByte('\a'); return true;
        case 'b': quoted.appendByte('\b'); return true;
        case 'f': quoted.appendByte('\f'); return true;
        case 'n': quoted.appendByte('\n'); return true;
        case 'r': quoted.appendByte('\r'); return true;
        case 't': quoted.appendByte('\t'); return true;
        case 'v': quoted.appendByte('\v'); return true;
        case 'U':
        case 'u': quoted.appendUnit(takeNumber(4, 16)); return true;
        default: break;
        }
        if (digitValue(c, 8) >= 0) {
            --position_;
            quoted.appendUnit(takeNumber(3, 8) & 0xFF);
            return true;
        }
        quoted.appendByte(c);  // any other character stands for itself; further bytes of it follow as they are
        return true;
    }

    /// Up to `mostDigits` digits.
    std::uint32_t takeNumber(int mostDigits, int base) {
        std::uint32_t number = 0;
        for (int i = 0; i < mostDigits && !isAtEnd() && digitValue(current(), base) >= 0; ++i, ++position_)
            number =
                number * static_cast<std::uint32_t>(base) + static_cast<std::uint32_t>(digitValue(current(), base));
        return number;
    }

    /// The later of two equal keys replaces the value. Only the outermost pairs are of interest.
    void keep(const std::string& key, std::optional<std::string> value) {
        if (open_.size() != 1) return;
        std::optional<Text> text;
        if (value) text = Text{*value};
        strings_.insert_or_assign(Text{key}, std::move(text));
    }

    std::string_view text_;
    std::size_t position_ = 0;
    std::string open_;  ///< the opening characters of the containers around the position
    std::size_t objects_ = 0;
    PropertyListStrings strings_;
};

}  // namespace

std::optional<PropertyListStrings> readTextPropertyList(std::string_view bytes) {
    if (bytes.size() > PropertyListLimits::fileBytes) return std::nullopt;
    const std::string text = decoded(bytes);
    return Parser{text}.run();
}

}  // namespace KestrelCore
