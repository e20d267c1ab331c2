#include "output/ASCIIOutput.hpp"

#include "output/TerminalText.hpp"
#include "output/UTF8.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <unicode/utf8.h>

// The sentences of the library and of the program, the lines of trees and the bars are written in Unicode everywhere,
// and made plain here in one place on their way out. Names come escaped already where only ASCII is shown
// (`Session::shown`), so that columns are measured as they will be; what still comes as it is gets its escape here.

namespace KestrelCLI {

namespace {

struct Replacement {
    char32_t scalar;
    std::string_view ascii;
};

/// In ascending order. Each as wide as what it stands for, except the ellipsis, which `TerminalText` measures as three.
constexpr std::array replacements{
    Replacement{U'\u00A0', " "},  Replacement{U'\u00B0', " "},  Replacement{U'\u00B1', "+"},
    Replacement{U'\u00B5', "u"},  Replacement{U'\u00B7', "."},  Replacement{U'\u00D7', "x"},
    Replacement{U'\u2010', "-"},  Replacement{U'\u2011', "-"},  Replacement{U'\u2012', "-"},
    Replacement{U'\u2013', "-"},  Replacement{U'\u2014', "-"},  Replacement{U'\u2018', "'"},
    Replacement{U'\u2019', "'"},  Replacement{U'\u201C', "\""}, Replacement{U'\u201D', "\""},
    Replacement{U'\u201E', "\""}, Replacement{U'\u2022', "*"},  Replacement{U'\u2026', "..."},
    Replacement{U'\u202F', " "},  Replacement{U'\u2190', "<"},  Replacement{U'\u2191', "^"},
    Replacement{U'\u2192', ">"},  Replacement{U'\u2193', "v"},  Replacement{U'\u2212', "-"},
    Replacement{U'\u2248', "~"},  Replacement{U'\u2264', "<"},  Replacement{U'\u2265', ">"},
    Replacement{U'\u2500', "-"},  Replacement{U'\u2502', "|"},  Replacement{U'\u250C', "+"},
    Replacement{U'\u2510', "+"},  Replacement{U'\u2514', "`"},  Replacement{U'\u2518', "+"},
    Replacement{U'\u251C', "|"},  Replacement{U'\u2524', "|"},  Replacement{U'\u252C', "+"},
    Replacement{U'\u2534', "+"},  Replacement{U'\u253C', "+"},  Replacement{U'\u2581', "."},
    Replacement{U'\u2582', "."},  Replacement{U'\u2583', ":"},  Replacement{U'\u2584', "-"},
    Replacement{U'\u2585', "="},  Replacement{U'\u2586', "+"},  Replacement{U'\u2587', "*"},
    Replacement{U'\u2588', "#"},  Replacement{U'\u2589', "#"},  Replacement{U'\u258A', "#"},
    Replacement{U'\u258B', "#"},  Replacement{U'\u258C', "#"},  Replacement{U'\u258D', "-"},
    Replacement{U'\u258E', "-"},  Replacement{U'\u258F', "-"},  Replacement{U'\u2591', "."},
    Replacement{U'\u25B2', "^"},  Replacement{U'\u25BC', "v"},  Replacement{U'\u25CF', "*"},
    Replacement{U'\u2713', "+"},  Replacement{U'\u2717', "x"}};
static_assert(std::ranges::is_sorted(replacements, {}, &Replacement::scalar));

std::string_view replacementOf(char32_t scalar) {
    const auto* const found = std::ranges::lower_bound(replacements, scalar, {}, &Replacement::scalar);
    return found != replacements.end() && found->scalar == scalar ? found->ascii : std::string_view{};
}

/// How many bytes at the end of `text` begin a character and lack its end.
std::size_t unfinishedBytes(std::string_view text) {
    for (std::size_t back = 1; back <= std::min<std::size_t>(3, text.size()); ++back) {
        const auto byte = static_cast<std::uint8_t>(text[text.size() - back]);
        if (U8_IS_TRAIL(byte)) continue;
        const std::size_t length = 1 + static_cast<std::size_t>(U8_COUNT_TRAIL_BYTES(byte));
        return length > back ? back : 0;
    }
    return 0;
}

}  // namespace

std::string asciiText(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (!text.empty()) {
        const UTF8Step step = firstUTF8(text);
        const std::string_view bytes = text.substr(0, step.length);
        const std::string_view replacement = step.scalar ? replacementOf(*step.scalar) : std::string_view{};
        // What is ASCII has been made harmless already, or is the program's own: sequences of colours and new lines.
        if (step.scalar && *step.scalar < 0x80) {
            out += bytes;
        } else if (!replacement.empty()) {
            out += replacement;
        } else {
            out += TerminalText::escaped(bytes, Characters::ascii);
        }
        text.remove_prefix(step.length);
    }
    return out;
}

bool ASCIIOutput::write(std::string_view text) {
    const auto length = static_cast<std::streamsize>(text.size());
    return target_.sputn(text.data(), length) == length;
}

bool ASCIIOutput::writePending() {
    const std::string pending = std::move(pending_);
    pending_.clear();
    return write(isRaw_() ? pending : asciiText(pending));
}

std::streamsize ASCIIOutput::xsputn(const char* text, std::streamsize length) {
    const std::string_view piece{text, static_cast<std::size_t>(length)};
    if (isRaw_()) return writePending() && write(piece) ? length : 0;
    std::string whole = std::move(pending_);
    whole += piece;
    pending_ = whole.substr(whole.size() - unfinishedBytes(whole));
    whole.resize(whole.size() - pending_.size());
    return write(asciiText(whole)) ? length : 0;
}

ASCIIOutput::int_type ASCIIOutput::overflow(int_type character) {
    if (traits_type::eq_int_type(character, traits_type::eof())) return traits_type::not_eof(character);
    const char byte = traits_type::to_char_type(character);
    return xsputn(&byte, 1) == 1 ? character : traits_type::eof();
}

int ASCIIOutput::sync() { return target_.pubsync(); }

}  // namespace KestrelCLI
