#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <optional>

namespace KestrelCore {

/// Has the file manager of Foundation move an item to the Trash, after everything was asked that is asked before a
/// removal, and looks afterwards what went: another item goes back. Returns its new place where that is told. Throws
/// `PlatformError`, also when it is cancelled; the item is then where it was, or the sentence says otherwise.
std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>& expected,
                               const CancellationToken& cancellation = {});

}  // namespace KestrelCore
