#include "Platform/macOS/Sensors/Portable/InterfaceMessages.hpp"

#include "Platform/macOS/BuiltBytes.hpp"

#include <gtest/gtest.h>

#include <cstdint>

namespace KestrelCore {
namespace {

constexpr int loopback = 0x8;
constexpr int up = 0x1;

/// RTM_IFINFO2: `if_msghdr2` and the `sockaddr_dl` behind it, 20 bytes or more with the name in it.
BuiltBytes anInterface(std::string_view name, int flags, std::uint64_t received, std::uint64_t sent) {
    BuiltBytes message{180 + name.size()};
    message.put(0, static_cast<std::uint16_t>(180 + name.size())).put<std::uint8_t>(2, 5).put<std::uint8_t>(3, 0x12);
    message.put<std::int32_t>(4, 0x10).put<std::int32_t>(8, flags).put<std::uint16_t>(12, 1);
    message.put<std::uint64_t>(96, received).put<std::uint64_t>(104, sent);
    message.put<std::uint8_t>(160, 20).put<std::uint8_t>(161, 18).put<std::uint16_t>(162, 1);
    return message.put(165, static_cast<std::uint8_t>(name.size())).putText(168, name);
}

/// Any other message, such as RTM_NEWADDR (0x0c), full of bytes that mean nothing here.
std::string anotherMessage(std::uint8_t kind, std::size_t size) {
    BuiltBytes message{size};
    message.putText(4, std::string(size - 4, '\x12'));
    return message.put(0, static_cast<std::uint16_t>(size)).put<std::uint8_t>(2, 5).put(3, kind).string();
}

std::vector<InterfaceCounters> readFrom(std::string_view bytes) {
    std::vector<InterfaceCounters> interfaces;
    readInterfaceMessages(bytes, interfaces);
    return interfaces;
}

std::vector<std::string> namesIn(std::string_view bytes) {
    std::vector<std::string> names;
    for (const InterfaceCounters& interface : readFrom(bytes)) names.push_back(interface.name);
    return names;
}

using Names = std::vector<std::string>;

TEST(InterfaceMessages, readsEachInterfaceBetweenOtherMessages) {
    constexpr std::uint64_t beyond32Bits = 5'000'000'000'000;
    const std::string bytes = anInterface("lo0", up | loopback, 7, 7).string() + anotherMessage(0x0C, 64) +
                              anotherMessage(0x13, 25) + anInterface("en0", up, beyond32Bits, 12).string() +
                              anotherMessage(0x0C, 100);
    const auto interfaces = readFrom(bytes);
    ASSERT_EQ(interfaces.size(), 2U);
    EXPECT_EQ(interfaces[0].name, "lo0");
    EXPECT_TRUE(interfaces[0].isLoopback);
    EXPECT_EQ(interfaces[1].name, "en0");
    EXPECT_FALSE(interfaces[1].isLoopback);
    EXPECT_EQ(interfaces[1].receivedBytes, beyond32Bits);
    EXPECT_EQ(interfaces[1].sentBytes, 12U);
}

TEST(InterfaceMessages, aListThatIsCutOffGivesTheWholeMessagesBeforeTheCut) {
    const std::string first = anInterface("lo0", loopback, 1, 1).string();
    const std::string bytes = first + anotherMessage(0x0C, 33) + anInterface("en0", up, 2, 2).string();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
        EXPECT_EQ(namesIn(std::string_view{bytes}.substr(0, size)).size(), size < first.size() ? 0U : 1U) << size;
    }
    EXPECT_EQ(namesIn(bytes), (Names{"lo0", "en0"}));
}

TEST(InterfaceMessages, passesOverWhatItDoesNotKnow) {
    const std::string good = anInterface("en0", up, 1, 1).string();
    struct Case {
        const char* what;
        BuiltBytes message;
    };
    const Case cases[] = {
        {"another version", anInterface("en9", up, 1, 1).put<std::uint8_t>(2, 6)},
        {"the kind without 64-bit counters", anInterface("en9", up, 1, 1).put<std::uint8_t>(3, 0x0E)},
        {"no address", anInterface("en9", up, 1, 1).put<std::int32_t>(4, 0)},
        {"another address first", anInterface("en9", up, 1, 1).put<std::int32_t>(4, 0x11)},
        {"an address of another family", anInterface("en9", up, 1, 1).put<std::uint8_t>(161, 2)},
        {"a name that is longer than its message", anInterface("en9", up, 1, 1).put<std::uint8_t>(165, 200)},
        {"a name of no letters", anInterface("", up, 1, 1)},
        {"a name that begins with NUL", anInterface("en9", up, 1, 1).put<std::uint8_t>(168, 0)},
    };
    for (const Case& each : cases) EXPECT_EQ(namesIn(each.message.string() + good), Names{"en0"}) << each.what;
}

TEST(InterfaceMessages, endsAtWhatCanBeNoMessage) {
    const std::string good = anInterface("en0", up, 1, 1).string();
    for (const int length : {0, 1, 3, 65535}) {
        const std::string bad = anInterface("en9", up, 1, 1).put(0, static_cast<std::uint16_t>(length)).string();
        EXPECT_EQ(namesIn(good + bad + good), Names{"en0"}) << length;
    }
}

TEST(InterfaceMessages, replacesAnEarlierList) {
    std::vector<InterfaceCounters> interfaces =
        readFrom(anInterface("lo0", loopback, 1, 1).string() + anInterface("en0", up, 1, 1).string());
    readInterfaceMessages(anInterface("en1", up, 3, 4).view(), interfaces);
    ASSERT_EQ(interfaces.size(), 1U);
    EXPECT_EQ(interfaces[0].name, "en1");
    EXPECT_FALSE(interfaces[0].isLoopback);
    readInterfaceMessages({}, interfaces);
    EXPECT_TRUE(interfaces.empty());
}

}  // namespace
}  // namespace KestrelCore
