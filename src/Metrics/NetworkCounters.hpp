#pragma once

#include "Platform/NetworkInterfaces.hpp"

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

/// Bytes over all interfaces but the loopback ones.
struct NetworkTotals {
    std::uint64_t receivedBytes = 0;
    std::uint64_t sentBytes = 0;

    bool operator==(const NetworkTotals&) const = default;
};

/// Adds up what the interfaces move into totals that never decrease, whatever the interfaces do: an interface counts
/// from its first sight, one that went away and came back counts anew, and a counter that goes backwards, or forward by
/// more than any link can move, adds nothing. One thread at a time.
class NetworkCounters {
public:
    explicit NetworkCounters(std::unique_ptr<NetworkInterfaces> interfaces);

    /// The totals since the first call, which always gives zeros.
    [[nodiscard]] NetworkTotals totals();

private:
    struct Seen {
        std::uint64_t receivedBytes = 0;
        std::uint64_t sentBytes = 0;
        std::uint64_t pass = 0;  ///< the call of `totals` that saw it last
    };

    std::unique_ptr<NetworkInterfaces> interfaces_;
    std::vector<InterfaceCounters> listed_;
    std::unordered_map<std::string, Seen> seen_;
    std::uint64_t pass_ = 0;
    NetworkTotals totals_;
};

}  // namespace KestrelCore
