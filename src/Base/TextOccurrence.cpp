#include "Base/TextOccurrence.hpp"

#include <unicode/uchar.h>

namespace KestrelCore {

namespace {

/// Whether `next` after `last` makes one Hangul syllable longer.
bool continuesHangul(UChar32 last, UChar32 next) {
    const auto before = u_getIntPropertyValue(last, UCHAR_HANGUL_SYLLABLE_TYPE);
    const auto after = u_getIntPropertyValue(next, UCHAR_HANGUL_SYLLABLE_TYPE);
    switch (before) {
    case U_HST_LEADING_JAMO: return after != U_HST_NOT_APPLICABLE && after != U_HST_TRAILING_JAMO;
    case U_HST_VOWEL_JAMO:
    case U_HST_LV_SYLLABLE: return after == U_HST_VOWEL_JAMO || after == U_HST_TRAILING_JAMO;
    case U_HST_TRAILING_JAMO:
    case U_HST_LVT_SYLLABLE: return after == U_HST_TRAILING_JAMO;
    default: return false;
    }
}

}  // namespace

bool refusesOccurrence(std::int32_t last, std::int32_t next) {
    if (next < 0x80) return false;
    if (next >= 0x1F3FB && next <= 0x1F3FF) return true;  // the skin tones of an emoji
    return u_hasBinaryProperty(next, UCHAR_GRAPHEME_EXTEND) != 0 || continuesHangul(last, next);
}

}  // namespace KestrelCore
