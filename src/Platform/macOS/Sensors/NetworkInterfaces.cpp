#include "Platform/NetworkInterfaces.hpp"

#include "Platform/macOS/Sensors/Portable/InterfaceData.hpp"
#include "Platform/macOS/Sensors/Portable/InterfaceMessages.hpp"
#include "Platform/macOS/SystemControl.hpp"

#include <cstddef>
#include <net/if.h>
#include <net/if_dl.h>
#include <net/if_var.h>
#include <net/route.h>
#include <sys/socket.h>

namespace KestrelCore {
namespace {

using Layout = InterfaceLayout;

static_assert(sizeof(if_msghdr2) == Layout::size);
static_assert(offsetof(if_msghdr2, ifm_msglen) == Layout::length);
static_assert(offsetof(if_msghdr2, ifm_version) == Layout::version);
static_assert(offsetof(if_msghdr2, ifm_type) == Layout::kind);
static_assert(offsetof(if_msghdr2, ifm_addrs) == Layout::addresses);
static_assert(offsetof(if_msghdr2, ifm_flags) == Layout::flags);
static_assert(offsetof(if_msghdr2, ifm_data) + offsetof(if_data64, ifi_ibytes) == Layout::receivedBytes);
static_assert(offsetof(if_msghdr2, ifm_data) + offsetof(if_data64, ifi_obytes) == Layout::sentBytes);
static_assert(RTM_VERSION == Layout::knownVersion && RTM_IFINFO2 == Layout::interfaceKind);
static_assert(RTA_IFP == Layout::linkAddressBit && IFF_LOOPBACK == Layout::loopbackFlag);
static_assert((RTA_DST | RTA_GATEWAY | RTA_NETMASK | RTA_GENMASK) == Layout::otherAddressBits);
static_assert(offsetof(sockaddr_dl, sdl_family) == Layout::family && AF_LINK == Layout::linkFamily);
static_assert(offsetof(sockaddr_dl, sdl_nlen) == Layout::nameLength);
static_assert(offsetof(sockaddr_dl, sdl_data) == Layout::name);

using DataLayout = InterfaceDataLayout;

static_assert(sizeof(if_data64) == DataLayout::size - DataLayout::counters);
static_assert(offsetof(if_data64, ifi_ibytes) == DataLayout::receivedBytes - DataLayout::counters);
static_assert(offsetof(if_data64, ifi_obytes) == DataLayout::sentBytes - DataLayout::counters);
static_assert(IFNAMSIZ == DataLayout::nameBytes && IFF_LOOPBACK == DataLayout::loopbackFlag);

// As <net/if_mib.h> has them, which not every set of headers does.
constexpr int genericInterfaces = 0;  // NETLINK_GENERIC
constexpr int allInterfaces = 3;      // IFMIB_IFALLDATA
constexpr int generalData = 1;        // IFDATA_GENERAL

/// The table with whole counters. The routing layer's list, for where there is no table, begins anew after each 4 GiB,
/// as what `getifaddrs` gives does.
class MacNetworkInterfaces final : public NetworkInterfaces {
public:
    void list(std::vector<InterfaceCounters>& interfaces) override {
        const auto data =
            SystemControl::bytes({CTL_NET, PF_LINK, genericInterfaces, allInterfaces, 0, generalData}, buffer_);
        if (data && readInterfaceData(*data, interfaces)) {
            hasTable_ = true;
            return;
        }
        // Between whole counters and cut ones any difference would be taken for traffic.
        interfaces.clear();
        if (hasTable_) return;
        const auto messages = SystemControl::bytes({CTL_NET, PF_ROUTE, 0, 0, NET_RT_IFLIST2, 0}, buffer_);
        readInterfaceMessages(messages.value_or(std::string_view{}), interfaces);
    }

private:
    std::string buffer_;
    bool hasTable_ = false;
};

}  // namespace

std::unique_ptr<NetworkInterfaces> NetworkInterfaces::system() { return std::make_unique<MacNetworkInterfaces>(); }

}  // namespace KestrelCore
