#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/Linux/Trash/TrashSizes.hpp"

#include <optional>

namespace KestrelCore {

/// Moves an item to a trash on its own file system, as the trash specification of freedesktop.org (1.0) has it: the
/// home trash, else `.Trash/UID`, else `.Trash-UID` at the top of the volume. Returns its new place. Throws
/// `PlatformError`, also when it is cancelled; the item is then where it was, or the sentence says otherwise. One
/// rename that replaces nothing: never copies, never removes. The size of a folder is noted in `sizes`.
std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected, TrashSizes& sizes,
                               const CancellationToken& cancellation = {});

}  // namespace KestrelCore
