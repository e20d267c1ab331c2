#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/TrashReceipt.hpp"
#include "KestrelCore/Export.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// Remembers what was moved to the Trash from here, so that it can be put back: one small file for each item, those of
/// one request written and synced together before the first item is touched. The files are trusted for nothing: what is
/// put back, from where and to where is checked against the Trash itself. Any thread; processes may share a folder.
class KESTRELCORE_EXPORT TrashReceipts {
public:
    /// `folder` is an absolute path; it is created when the first receipt is written.
    explicit TrashReceipts(const Text& folder) : folder_{folder} {}

    /// Executes a request in trash mode with a receipt for each item; receipts of items that failed go again. When they
    /// can't be written, no item is touched and all fail with the reason. Other modes run without receipts.
    [[nodiscard]] std::vector<DeletionItemResult> execute(DeletionCoordinator& coordinator,
                                                          const DeletionRequest& request) const;

    /// The same; `onResult` is told of each result, and stops the request by returning false. A cancellation stops it
    /// too, as the coordinator's does.
    [[nodiscard]] std::vector<DeletionItemResult> execute(DeletionCoordinator& coordinator,
                                                          const DeletionRequest& request,
                                                          const DeletionCoordinator::ResultObserver& onResult,
                                                          const CancellationToken& cancellation = {}) const;

    /// All receipts that can be understood, newest first.
    [[nodiscard]] std::vector<TrashReceipt> receipts() const;
    /// Where the item is in the Trash now; empty when it is no longer there.
    [[nodiscard]] static std::optional<Text> presentPlace(const TrashReceipt& receipt);
    /// Puts the item back to where it was and drops the receipt: only out of a Trash folder, never over another item,
    /// and only into a folder that exists. With `name` it gets that name there: one component of a path. The result's
    /// message says what happened; its `resultingPath` is where the item is now.
    [[nodiscard]] DeletionItemResult restore(const TrashReceipt& receipt,
                                             const std::optional<Text>& name = std::nullopt) const;
    /// Drops the receipt; the item stays in the Trash.
    void forget(const TrashReceipt& receipt) const;

private:
    Text folder_;
};

}  // namespace KestrelCore
