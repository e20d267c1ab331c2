#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

namespace KestrelCore {

/// One network interface as the system counts it, since the interface came up.
struct InterfaceCounters {
    std::string name;
    bool isLoopback = false;
    std::uint64_t receivedBytes = 0;
    std::uint64_t sentBytes = 0;
};

/// The interfaces there are now. One thread at a time.
class NetworkInterfaces {
public:
    virtual ~NetworkInterfaces() = default;

    /// Replaces the content of `interfaces`, which is kept by the caller so that a pass allocates nothing new. Empty
    /// when the system has none or does not tell.
    virtual void list(std::vector<InterfaceCounters>& interfaces) = 0;

    [[nodiscard]] static std::unique_ptr<NetworkInterfaces> system();
};

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
