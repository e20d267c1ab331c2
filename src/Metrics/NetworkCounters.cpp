#include "Metrics/NetworkCounters.hpp"

#include "Metrics/CounterStep.hpp"

#include <algorithm>
#include <limits>
#include <utility>

// The totals of the machine are no sum of the counters: an interface that goes away would take its bytes back out, and
// one that comes would bring all it ever moved. So only steps are added, interface by interface, between two passes
// that both saw it; whatever is no plausible step adds nothing.

namespace KestrelCore {
namespace {

/// Half of what a rate over the shortest interval can represent, so that no set of interfaces can make one overflow.
constexpr std::uint64_t largestPass = std::uint64_t{1} << 58;

/// The total after `moved` more bytes. It stays at its maximum rather than begin anew.
std::uint64_t grown(std::uint64_t total, std::uint64_t moved) {
    return total + std::min(moved, std::numeric_limits<std::uint64_t>::max() - total);
}

}  // namespace

NetworkCounters::NetworkCounters(std::unique_ptr<NetworkInterfaces> interfaces) : interfaces_{std::move(interfaces)} {}

NetworkTotals NetworkCounters::totals() {
    ++pass_;
    interfaces_->list(listed_);
    NetworkTotals moved;
    for (const InterfaceCounters& listed : listed_) {
        if (listed.isLoopback) continue;
        const auto [place, isNew] = seen_.try_emplace(listed.name);
        Seen& seen = place->second;
        // A name that the system lists twice counts once, with its first line.
        if (seen.pass == pass_) continue;
        if (!isNew) {
            moved.receivedBytes =
                std::min(largestPass, moved.receivedBytes + counterStep(seen.receivedBytes, listed.receivedBytes));
            moved.sentBytes = std::min(largestPass, moved.sentBytes + counterStep(seen.sentBytes, listed.sentBytes));
        }
        seen = {listed.receivedBytes, listed.sentBytes, pass_};
    }
    std::erase_if(seen_, [this](const auto& entry) { return entry.second.pass != pass_; });
    totals_.receivedBytes = grown(totals_.receivedBytes, moved.receivedBytes);
    totals_.sentBytes = grown(totals_.sentBytes, moved.sentBytes);
    return totals_;
}

}  // namespace KestrelCore
