#pragma once

#include "output/Session.hpp"
#include "store/DeletionRun.hpp"
#include "store/HistoryAccess.hpp"
#include "store/KnownReceipts.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// How items come back.
struct RestoreTerms {
    std::optional<std::string> name{};    ///< for one item: the name it gets in the folder that it came from
    bool replaces = false;                ///< what is in the way goes to the Trash first
    HighRisk highRisk = HighRisk::stays;  ///< among what is in the way

    /// Where the item of the receipt comes to.
    [[nodiscard]] KestrelCore::Text destination(const KestrelCore::TrashReceipt& receipt) const;
};

/// What became of one item that was to come back.
struct RestoreResult {
    KestrelCore::DeletionItemResult item;            ///< `resultingPath` is where it is now
    std::optional<KestrelCore::Text> replacedPlace;  ///< in the Trash: of what was in its way
    bool isInTheWay = false;                         ///< it stays in the Trash, and something is where it was
};

struct RestoreOutcome {
    std::vector<RestoreResult> results;  ///< of the items that were tried, in their order
    std::size_t restored = 0;
    bool hasReplaced = false;    ///< something is in the Trash that was in the way
    bool isInterrupted = false;  ///< not all was tried
};

/// Puts back what was moved to the Trash from here, and lets the saved scans show it again. Shows nothing, asks
/// nothing, and never overwrites.
///
///     Restoration restoration{session, remark};
///     const std::vector<KnownReceipt> receipts = restoration.receipts();
///     const RestoreOutcome outcome = restoration.execute(lastRequest(receipts), {}, onResult, isStopped);
///
/// Any thread, one at a time; blocks on the disk. Of the session, which must outlive it, only the options are read.
class Restoration {
public:
    /// `remark` is told, on the calling thread, what speaks against using or changing the saved scans. Throws where the
    /// receipts have no place, as `receiptsPath`.
    Restoration(const Session& session, Remark remark);

    /// All that is known, newest first.
    [[nodiscard]] std::vector<KnownReceipt> receipts() const { return knownReceipts(store_); }

    /// Restores each item by itself, in this order: one that fails keeps none of the others from its place. What stands
    /// in the way of all goes before them, in one request, so that one more restore brings it back; what was moved for
    /// an item that does not come back goes back itself.
    ///
    /// `isStopped` is asked before each item, and its yes keeps what is left in the Trash; one that was begun is
    /// brought to its end, so that it lies in one place. `onResult` is told of each on the calling thread.
    [[nodiscard]] RestoreOutcome execute(const std::vector<const KnownReceipt*>& back, const RestoreTerms& terms,
                                         const std::function<void(const RestoreResult&)>& onResult,
                                         const std::function<bool()>& isStopped) const;

private:
    const Session& session_;
    Remark remark_;
    KestrelCore::TrashReceipts store_;
};

/// Whether something is at the path, also a link that leads nowhere.
[[nodiscard]] bool isTaken(const KestrelCore::Text& path);

}  // namespace KestrelCLI
