#include "Exchange/SearchKeys.hpp"

#include "Base/TextOccurrence.hpp"
#include "Base/TextScan.hpp"

#include <algorithm>
#include <unicode/utf8.h>

// A word occurs in a text when its decomposed scalars stand in the decomposed text and the scalar behind them does not
// make the last character longer ("e" is not in "é"). Whether it does depends on two neighbours in the text alone, so
// it is written into the key: a scalar whose follower refuses an occurrence that ends here has another form there, and
// a word's last scalar, which has no follower, never has it.
//
//     e            65           e before U+0301    C1 A5           a form too long, which UTF-8 never has
//     日           E6 97 A5     日 before U+0301   FF A6 97 A5     FF, then the usual bytes, the first as if it went on
//
// Both begin with bytes that begin nothing else, and go on with bytes that begin nothing. So a word's key is found only
// where a scalar begins, and the key of a text in which no scalar is refused is simply its decomposed form.

namespace KestrelCore {

namespace {

char byteOf(unsigned value) { return static_cast<char>(static_cast<unsigned char>(value)); }

/// Appends the form of a scalar behind which no occurrence ends.
void appendRefused(std::string_view scalar, std::string& key) {
    const auto first = static_cast<unsigned char>(scalar.front());
    if (first < 0x80) {
        key += byteOf(0xC0U | first >> 6);
        key += byteOf(0x80U | (first & 0x3FU));
        return;
    }
    key += '\xFF';
    key += byteOf(0x80U | (first & 0x3FU));
    key += scalar.substr(1);
}

std::string marked(std::string_view decomposed) {
    std::string key;
    key.reserve(decomposed.size());
    std::size_t begin = 0;
    std::size_t end = 0;
    UChar32 last = 0;
    if (!decomposed.empty()) U8_NEXT_UNSAFE(decomposed.data(), end, last);
    while (end < decomposed.size()) {
        std::size_t after = end;
        UChar32 next = 0;
        U8_NEXT_UNSAFE(decomposed.data(), after, next);
        const std::string_view scalar = decomposed.substr(begin, end - begin);
        if (refusesOccurrence(last, next)) {
            appendRefused(scalar, key);
        } else {
            key += scalar;
        }
        begin = end;
        end = after;
        last = next;
    }
    return key += decomposed.substr(begin);
}

char asciiSmall(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; }

}  // namespace

std::string SearchKeys::key(std::string_view text) {
    std::string lowered;
    lowered.reserve(text.size());
    lowercase(text, lowered);
    return pattern(lowered);
}

std::string SearchKeys::pattern(std::string_view word) {
    return isASCII(word) ? std::string{word} : marked(decomposedUTF8(word));
}

std::string SearchKeys::column(std::string_view text) {
    if (isASCII(text)) return {};
    std::string key = SearchKeys::key(text);
    const bool isPlain = std::equal(key.begin(), key.end(), text.begin(), text.end(),
                                    [](char inKey, char inText) { return inKey == asciiSmall(inText); });
    return isPlain ? std::string{} : key;
}

SearchKeys::TextClass SearchKeys::classOf(std::string_view name, std::string_view fileExtension) {
    if (isASCII(name)) return isASCII(fileExtension) ? TextClass::ascii : TextClass::keyed;
    // Behind the folder's slash: is it still one?
    std::string start = "/";
    std::size_t end = 0;
    U8_FWD_1_UNSAFE(name.data(), end);
    start += name.substr(0, end);
    return key(start).front() == '/' ? TextClass::keyed : TextClass::odd;
}

SearchKeys SearchKeys::ofOdd(std::string_view name, std::string_view path) {
    return {.textClass = TextClass::odd, .name = key(name), .path = key(path)};
}

}  // namespace KestrelCore
