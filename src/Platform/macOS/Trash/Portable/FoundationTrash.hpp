#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/macOS/Trash/Portable/FoundationError.hpp"

#include <functional>
#include <optional>
#include <string>

namespace KestrelCore {

/// What the file manager of Foundation answers when it is asked to move an item to the Trash.
struct TrashAnswer {
    std::optional<std::string> place;      ///< where the item is now; raw. Absent when it is not told
    std::optional<FoundationError> error;  ///< absent on success
};

/// Asks Foundation to move the item at a path (raw, absolute; a link is not followed at its end). Empty where the
/// system has no Foundation.
using FoundationMove = std::function<std::optional<TrashAnswer>(const std::string& path, bool isFolder)>;

/// Has the file manager of Foundation move an item to the Trash, after everything was asked that is asked before a
/// removal, and looks afterwards what went: another item goes back. Returns its new place where that is told. Throws
/// `PlatformError`, also when it is cancelled; the item is then where it was, or the sentence says otherwise.
std::optional<URL> moveToTrashThroughFoundation(const URL& url, const std::optional<ExpectedItem>& expected,
                                                const FoundationMove& move, const CancellationToken& cancellation = {});

}  // namespace KestrelCore
