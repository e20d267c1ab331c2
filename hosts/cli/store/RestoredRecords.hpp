#pragma once

#include "output/Session.hpp"
#include "store/HistoryAccess.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <vector>

namespace KestrelCLI {

/// An item that came back from the Trash.
struct RestoredItem {
    KestrelCore::Text path;  ///< where it is now
    /// When it had left that place; absent of one that was not there before.
    std::optional<KestrelCore::Date> trashedAt;
};

/// Lets the saved scans show again what came back: takes back that it was taken out of them. What is not on the disk as
/// the scan had it, such as what was removed from a folder before that went, stays out. Where a scan can't show an
/// item, since it was made without it, that is said. Never throws: what speaks against it goes to the
/// remark. Any thread; of the session only the options are read.
void showRestored(const Session& session, const std::vector<RestoredItem>& items, const Remark& remark);

}  // namespace KestrelCLI
