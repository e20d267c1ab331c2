#include "Platform/macOS/Sensors/Portable/InterfaceMessages.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

namespace KestrelCore {
namespace {

using Layout = InterfaceLayout;

/// The name in the address behind the header of a message; empty where it is not the one that is there first.
std::string_view nameIn(std::string_view message) {
    const auto addresses = numberAt<std::uint32_t>(message, Layout::addresses);
    if ((addresses & Layout::linkAddressBit) == 0 || (addresses & Layout::otherAddressBits) != 0) return {};
    const std::string_view address = message.substr(Layout::size);
    if (numberAt<std::uint8_t>(address, Layout::family) != Layout::linkFamily) return {};
    const std::size_t length = numberAt<std::uint8_t>(address, Layout::nameLength);
    if (address.size() < Layout::name + length) return {};
    return textAt(address, Layout::name, length);
}

}  // namespace

void readInterfaceMessages(std::string_view bytes, std::vector<InterfaceCounters>& interfaces) {
    constexpr std::size_t shortestMessage = Layout::kind + 1;
    std::size_t count = 0;
    while (bytes.size() >= shortestMessage) {
        const std::size_t length = numberAt<std::uint16_t>(bytes, Layout::length);
        // A length of 0 would never end; one beyond the bytes is a list that was cut off.
        if (length < shortestMessage || length > bytes.size()) break;
        const std::string_view message = bytes.substr(0, length);
        bytes.remove_prefix(length);
        if (numberAt<std::uint8_t>(message, Layout::version) != Layout::knownVersion) continue;
        if (numberAt<std::uint8_t>(message, Layout::kind) != Layout::interfaceKind) continue;
        if (message.size() < Layout::size) continue;
        const std::string_view name = nameIn(message);
        if (name.empty()) continue;
        // Elements are written over rather than made anew, so that their names keep their memory.
        if (count == interfaces.size()) interfaces.emplace_back();
        InterfaceCounters& interface = interfaces[count++];
        interface.name.assign(name);
        interface.isLoopback = (numberAt<std::uint32_t>(message, Layout::flags) & Layout::loopbackFlag) != 0;
        interface.receivedBytes = numberAt<std::uint64_t>(message, Layout::receivedBytes);
        interface.sentBytes = numberAt<std::uint64_t>(message, Layout::sentBytes);
    }
    interfaces.resize(count);
}

}  // namespace KestrelCore
