#pragma once

#include "KestrelCore/Base/Text.hpp"

namespace KestrelCore {

/// What somebody types into a search, without the difference of case: `Text::folded`, and in Turkish and Azerbaijani
/// "I" is the capital of "ı" and "İ" that of "i". In the language that the user prefers. Any thread.
[[nodiscard]] Text foldedQuery(const Text& text);

/// The same in a language that is named as in `userLanguages`.
[[nodiscard]] Text foldedQuery(const Text& text, const Text& language);

}  // namespace KestrelCore
