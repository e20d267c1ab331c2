#include "Platform/macOS/Sensors/Portable/InterfaceData.hpp"

#include "Platform/macOS/BuiltBytes.hpp"

#include <gtest/gtest.h>

#include <cstdint>

namespace KestrelCore {
namespace {

constexpr std::uint32_t loopback = 0x8;
constexpr std::uint32_t up = 0x1;

/// `ifmibdata`; the counters beside those of bytes are full of what means nothing here.
std::string anInterface(std::string_view name, std::uint32_t flags, std::uint64_t received, std::uint64_t sent) {
    BuiltBytes record{180};
    record.putText(24, std::string(156, '\x12')).putText(0, name).put(20, flags);
    return record.put(116, received).put(124, sent).string();
}

std::vector<std::string> namesIn(const std::vector<InterfaceCounters>& interfaces) {
    std::vector<std::string> names;
    for (const InterfaceCounters& interface : interfaces) names.push_back(interface.name);
    return names;
}

using Names = std::vector<std::string>;

TEST(InterfaceData, readsEachInterfaceThatHasAName) {
    constexpr std::uint64_t beyond32Bits = 5'000'000'000'001;
    std::vector<InterfaceCounters> interfaces(5);
    ASSERT_TRUE(readInterfaceData(anInterface("lo0", up | loopback, 7, 7) + anInterface("", up, 9, 9) +
                                      anInterface("en0", up, beyond32Bits, 12) +
                                      anInterface("sixteen-letters!", up, 1, 1),
                                  interfaces));
    ASSERT_EQ(namesIn(interfaces), (Names{"lo0", "en0", "sixteen-letters!"}));
    EXPECT_TRUE(interfaces[0].isLoopback);
    EXPECT_FALSE(interfaces[1].isLoopback);
    EXPECT_EQ(interfaces[1].receivedBytes, beyond32Bits);
    EXPECT_EQ(interfaces[1].sentBytes, 12U);
}

TEST(InterfaceData, isNotToldByRecordsOfAnotherLength) {
    const std::string bytes = anInterface("lo0", loopback, 1, 1) + anInterface("en0", up, 2, 2);
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        std::vector<InterfaceCounters> interfaces(1);
        const bool isWhole = readInterfaceData(std::string_view{bytes}.substr(0, size), interfaces);
        EXPECT_EQ(isWhole, size == 180) << size;
        EXPECT_EQ(namesIn(interfaces), (isWhole ? Names{"lo0"} : Names{""})) << size;
    }
}

}  // namespace
}  // namespace KestrelCore
