#pragma once

#include "store/KnownReceipts.hpp"

#include <string>
#include <vector>

namespace KestrelCLI {

/// Which of `receipts`, newest first, an operand can mean: those of the path that it names as the system would; else
/// those whose item had that name, and those whose identifier begins with it, in either case. Of several only those
/// that are in the Trash, if any is. Newest first.
[[nodiscard]] std::vector<const KnownReceipt*> meantBy(const std::string& operand,
                                                       const std::vector<KnownReceipt>& receipts);

}  // namespace KestrelCLI
