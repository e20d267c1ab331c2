#include "store/KnownReceipts.hpp"

#include <utility>

using namespace KestrelCore;

namespace KestrelCLI {

std::vector<KnownReceipt> knownReceipts(const TrashReceipts& store) {
    std::vector<KnownReceipt> known;
    for (TrashReceipt& receipt : store.receipts()) {
        auto place = TrashReceipts::presentPlace(receipt);
        known.push_back({std::move(receipt), std::move(place)});
    }
    return known;
}

std::vector<const KnownReceipt*> lastRequest(const std::vector<KnownReceipt>& receipts) {
    std::vector<const KnownReceipt*> last;
    for (const KnownReceipt& each : receipts) {
        const auto& newest = receipts.front().receipt;
        // One of an earlier version stands alone.
        if (&each == &receipts.front() || (newest.request && each.receipt.request == newest.request))
            last.push_back(&each);
    }
    return last;
}

}  // namespace KestrelCLI
