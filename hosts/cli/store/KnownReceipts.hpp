#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/TrashReceipt.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include <optional>
#include <vector>

namespace KestrelCLI {

/// A receipt and where its item is in the Trash now; absent when it is no longer there.
struct KnownReceipt {
    KestrelCore::TrashReceipt receipt;
    std::optional<KestrelCore::Text> place;
};

/// All of them, newest first. Asks the disk for each item: the user may have moved it or emptied the Trash since.
[[nodiscard]] std::vector<KnownReceipt> knownReceipts(const KestrelCore::TrashReceipts& store);

/// All that the last request moved, newest first, whether it still is in the Trash or not. Empty where there is none.
/// `receipts` come newest first.
[[nodiscard]] std::vector<const KnownReceipt*> lastRequest(const std::vector<KnownReceipt>& receipts);

}  // namespace KestrelCLI
