#pragma once

namespace KestrelCore {

// Refusals that the safety rules and, at the moment of the removal, the file system below them both give.

inline constexpr const char* changedItemSentence = "The item changed since the scan. Scan again before deleting it.";
inline constexpr const char* protectedTrashSentence =
    "Trash and Time Machine content are protected from Kestrel deletion.";

}  // namespace KestrelCore
