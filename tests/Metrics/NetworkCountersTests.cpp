#include "Metrics/NetworkCounters.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace KestrelCore {
namespace {

constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();

/// Shows one list after the other, the last one again and again.
struct Script final : NetworkInterfaces {
    explicit Script(std::vector<std::vector<InterfaceCounters>> passes) : passes{std::move(passes)} {}
    void list(std::vector<InterfaceCounters>& interfaces) override {
        interfaces = passes[std::min(next, passes.size() - 1)];
        ++next;
    }
    std::vector<std::vector<InterfaceCounters>> passes;
    std::size_t next = 0;
};

std::vector<NetworkTotals> totalsOf(std::vector<std::vector<InterfaceCounters>> passes) {
    std::vector<NetworkTotals> totals(passes.size());
    NetworkCounters counters{std::make_unique<Script>(std::move(passes))};
    for (NetworkTotals& each : totals) each = counters.totals();
    return totals;
}

TEST(NetworkCounters, addUpWhatAllInterfacesMoveSinceTheFirstCall) {
    const auto totals = totalsOf(
        {{{"a", false, 100, 200}, {"b", false, 1000, 2000}}, {{"a", false, 101, 202}, {"b", false, 1010, 2020}}});
    EXPECT_EQ(totals[0], (NetworkTotals{0, 0}));
    EXPECT_EQ(totals[1], (NetworkTotals{11, 22}));
}

TEST(NetworkCounters, countANewInterfaceFromItsFirstSight) {
    const auto totals = totalsOf({{}, {{"usb0", false, 5000, 6000}}, {{"usb0", false, 5001, 6002}}});
    EXPECT_EQ(totals[1], (NetworkTotals{0, 0}));
    EXPECT_EQ(totals[2], (NetworkTotals{1, 2}));
}

TEST(NetworkCounters, neverDecreaseWhenAnInterfaceVanishesOrStartsAgain) {
    const auto totals = totalsOf({{{"a", false, 100, 100}},
                                  {{"a", false, 150, 150}},
                                  {},
                                  {{"a", false, 900, 900}},
                                  {{"a", false, 3, 3}},
                                  {{"a", false, 10, 10}}});
    EXPECT_EQ(totals[1], (NetworkTotals{50, 50}));
    EXPECT_EQ(totals[2], (NetworkTotals{50, 50}));
    EXPECT_EQ(totals[3], (NetworkTotals{50, 50}));
    EXPECT_EQ(totals[4], (NetworkTotals{50, 50}));
    EXPECT_EQ(totals[5], (NetworkTotals{57, 57}));
}

TEST(NetworkCounters, leaveLoopbackOut) {
    const auto totals = totalsOf({{{"lo", true, 0, 0}}, {{"lo", true, 9, 9}}});
    EXPECT_EQ(totals[1], (NetworkTotals{0, 0}));
}

TEST(NetworkCounters, ignoreStepsThatNoLinkCanMake) {
    const auto totals =
        totalsOf({{{"a", false, 0, 0}}, {{"a", false, largest, largest - 5}}, {{"a", false, largest, largest}}});
    EXPECT_EQ(totals[1], (NetworkTotals{0, 0}));
    EXPECT_EQ(totals[2], (NetworkTotals{0, 5}));
}

TEST(NetworkCounters, stayBelowWhatARateCanRepresentWithAnyNumberOfInterfaces) {
    std::vector<InterfaceCounters> before;
    std::vector<InterfaceCounters> after;
    for (int index = 0; index < 5000; ++index) {
        before.push_back({"i" + std::to_string(index), false, 0, 0});
        after.push_back({"i" + std::to_string(index), false, std::uint64_t{1} << 52, 0});
    }
    const auto totals = totalsOf({before, after});
    EXPECT_EQ(totals[1].receivedBytes, std::uint64_t{1} << 58);
}

TEST(NetworkCounters, countANameThatIsListedTwiceOnce) {
    const auto totals =
        totalsOf({{{"a", false, 0, 0}, {"a", false, 50, 50}}, {{"a", false, 7, 7}, {"a", false, 80, 80}}});
    EXPECT_EQ(totals[1], (NetworkTotals{7, 7}));
}

}  // namespace
}  // namespace KestrelCore
