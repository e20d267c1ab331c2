#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>

namespace KestrelCore {

/// Moves an item from a trash of this user back to where it came from. Only out of a trash folder, only the expected
/// item, only to the place that the trash itself has on record (macOS keeps that record to itself: there the caller
/// alone says where), or, with `name` (one component of a path), under that name beside it; never through a link, never
/// over another item, and the folder it came from must exist. Throws `PlatformError`; the item is then still in the
/// trash, or the sentence says that it is not. Returns a sentence about what stayed of it in the trash; mostly there is
/// none.
[[nodiscard]] std::optional<Text> restoreFromTrash(const URL& trashed, const URL& original,
                                                   const ExpectedItem& expected,
                                                   const std::optional<Text>& name = std::nullopt);

/// Whether that item is at that place in a trash of this user.
[[nodiscard]] bool isInTrash(const URL& trashed, const ExpectedItem& expected);

/// Looks for the item through the trashes in which one from `original` would be; empty when it is in none of them.
[[nodiscard]] std::optional<URL> findInTrash(const URL& original, const ExpectedItem& expected);

}  // namespace KestrelCore
