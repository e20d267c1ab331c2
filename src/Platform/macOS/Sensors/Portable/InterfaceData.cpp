#include "Platform/macOS/Sensors/Portable/InterfaceData.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

namespace KestrelCore {

bool readInterfaceData(std::string_view bytes, std::vector<InterfaceCounters>& interfaces) {
    using Layout = InterfaceDataLayout;
    // Every machine has a loopback interface. Records of another length are of a system that lays them out anew.
    if (bytes.empty() || bytes.size() % Layout::size != 0) return false;
    std::size_t count = 0;
    for (; !bytes.empty(); bytes.remove_prefix(Layout::size)) {
        const std::string_view record = bytes.substr(0, Layout::size);
        const std::string_view name = textAt(record, Layout::name, Layout::nameBytes);
        if (name.empty()) continue;
        // Elements are written over rather than made anew, so that their names keep their memory.
        if (count == interfaces.size()) interfaces.emplace_back();
        InterfaceCounters& interface = interfaces[count++];
        interface.name.assign(name);
        interface.isLoopback = (numberAt<std::uint32_t>(record, Layout::flags) & Layout::loopbackFlag) != 0;
        interface.receivedBytes = numberAt<std::uint64_t>(record, Layout::receivedBytes);
        interface.sentBytes = numberAt<std::uint64_t>(record, Layout::sentBytes);
    }
    interfaces.resize(count);
    return true;
}

}  // namespace KestrelCore
