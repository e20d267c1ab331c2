#pragma once

#include "Platform/NetworkInterfaces.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// The interface list of the routing layer (NET_RT_IFLIST2): messages of different kinds one after the other, each of
// which begins with its length, its version and its kind. Of interest are those of one kind: a header with flags and
// 64-bit counters (which the system cuts to 32 bits for most programs), and behind it the address of the link layer,
// which holds the name.
//
//     0        2        3      4         8        12                32                         160
//     | length | version| kind | address | flags  | index, queue …  | counters (if_data64)     | sockaddr_dl …

namespace KestrelCore {

/// `if_msghdr2` with the `if_data64` in it, and `sockaddr_dl`.
struct InterfaceLayout {
    static constexpr std::size_t length = 0;     ///< 16 bits, of the message with all that belongs to it
    static constexpr std::size_t version = 2;    ///< 8 bits
    static constexpr std::size_t kind = 3;       ///< 8 bits
    static constexpr std::size_t addresses = 4;  ///< 32 bits, one for each address behind the header
    static constexpr std::size_t flags = 8;      ///< 32 bits
    static constexpr std::size_t receivedBytes = 96;
    static constexpr std::size_t sentBytes = 104;
    static constexpr std::size_t size = 160;

    static constexpr std::uint8_t knownVersion = 5;          ///< RTM_VERSION
    static constexpr std::uint8_t interfaceKind = 0x12;      ///< RTM_IFINFO2
    static constexpr std::uint32_t linkAddressBit = 0x10;    ///< RTA_IFP
    static constexpr std::uint32_t otherAddressBits = 0x0F;  ///< those that would stand before it
    static constexpr std::uint32_t loopbackFlag = 0x8;       ///< IFF_LOOPBACK

    // From the start of the link-layer address.
    static constexpr std::size_t family = 1;
    static constexpr std::size_t nameLength = 5;
    static constexpr std::size_t name = 8;
    static constexpr std::uint8_t linkFamily = 18;  ///< AF_LINK
};

/// Replaces the content of `interfaces` with those that the bytes tell of, in their order. A message of another kind or
/// version is passed over, one without a name too; what can't be a message ends the list.
void readInterfaceMessages(std::string_view bytes, std::vector<InterfaceCounters>& interfaces);

}  // namespace KestrelCore
