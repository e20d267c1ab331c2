#pragma once

#include "Platform/NetworkInterfaces.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// The table of all interfaces (IFMIB_IFALLDATA), a record for each. Its counters are whole; those of the routing
// layer's list are cut to 32 bits for programs that are not the system's own.
//
//     0               16        20      24                     52                        180
//     | name          | users   | flags | queue, unused …      | counters (if_data64)    |

namespace KestrelCore {

/// `ifmibdata` with the `if_data64` in it.
struct InterfaceDataLayout {
    static constexpr std::size_t name = 0;
    static constexpr std::size_t nameBytes = 16;
    static constexpr std::size_t flags = 20;  ///< 32 bits
    static constexpr std::size_t counters = 52;
    static constexpr std::size_t receivedBytes = 116;
    static constexpr std::size_t sentBytes = 124;
    static constexpr std::size_t size = 180;

    static constexpr std::uint32_t loopbackFlag = 0x8;  ///< IFF_LOOPBACK
};

/// Replaces the content of `interfaces` with those that the records tell of, in their order; a record without a name is
/// passed over. False, and nothing is touched, when the bytes are no such records.
[[nodiscard]] bool readInterfaceData(std::string_view bytes, std::vector<InterfaceCounters>& interfaces);

}  // namespace KestrelCore
