#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/TrashReceipt.hpp"

#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// A receipt and where its item is in the Trash now; absent when it is no longer there.
struct KnownReceipt {
    KestrelCore::TrashReceipt receipt;
    std::optional<KestrelCore::Text> place;
};

/// Which of `receipts`, newest first, an operand can mean: those of the path that it names as the system would; else
/// those whose item had that name, and those whose identifier begins with it, in either case. Of several only those
/// that are in the Trash, if any is. Newest first.
[[nodiscard]] std::vector<const KnownReceipt*> meantBy(const std::string& operand,
                                                       const std::vector<KnownReceipt>& receipts);

/// All that the last request moved, newest first, whether it still is in the Trash or not. Empty where there is none.
[[nodiscard]] std::vector<const KnownReceipt*> lastRequest(const std::vector<KnownReceipt>& receipts);

}  // namespace KestrelCLI
