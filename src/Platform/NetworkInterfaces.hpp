#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace KestrelCore {

/// One network interface as the system counts it, since the interface came up. Raw: a counter starts anew when its
/// interface is taken down and made again, also under the same name, and nothing here hides that.
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

}  // namespace KestrelCore
