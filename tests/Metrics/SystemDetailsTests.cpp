#include "KestrelCore/Metrics/ProcessDescription.hpp"
#include "KestrelCore/Metrics/SystemDetails.hpp"

#include "support/MonitoringFakes.hpp"

#include <gtest/gtest.h>

#include <map>
#include <unistd.h>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;
using Testing::ManualClock;

struct FakeSensors final : SystemSensors {
    explicit FakeSensors(std::shared_ptr<std::vector<ProcessorTicks>> ticks) : ticks{std::move(ticks)} {}
    std::vector<ProcessorTicks> processors() override { return *ticks; }
    std::optional<StallPercents> stalls() override { return StallPercents{150, -1, 25}; }
    std::vector<Temperature> temperatures() override { return {{"cpu", 40.5}}; }
    std::shared_ptr<std::vector<ProcessorTicks>> ticks;
};

TEST(SystemDetailsSampler, hasEachProcessorAndInterface) {
    const auto ticks = std::make_shared<std::vector<ProcessorTicks>>(2);
    const auto machine = std::make_shared<Testing::Machine>();
    const auto clock = std::make_shared<ManualClock>();
    machine->interfaces = {{.name = "lo", .isLoopback = true, .receivedBytes = 1},
                           {.name = "eth0", .receivedBytes = 100}};
    auto sampler = SamplerAccess::sampler(
        SystemDetailsSources{.sensors = std::make_unique<FakeSensors>(ticks),
                             .networkInterfaces = std::make_unique<Testing::Machine::Interfaces>(machine),
                             .clock = clock});
    SystemDetails details = sampler.sample();
    EXPECT_EQ(details.processorUsedFractions, (std::vector<double>{0, 0}));
    EXPECT_EQ(details.interfaces, (std::vector<InterfaceSample>{{.name = "eth0"}}));
    EXPECT_EQ(details.pressure, (PressureSample{.processor = 1, .memory = 0, .disk = 0.25}));
    EXPECT_EQ(details.temperatures, (std::vector<TemperatureSample>{{"cpu", 40.5}}));

    (*ticks)[0] = {.user = 25, .system = 0, .idle = 75, .nice = 0};
    (*ticks)[1] = {.user = 0, .system = 0, .idle = 100, .nice = 0};
    machine->interfaces[1].receivedBytes += 500;
    clock->advance(1s);
    details = sampler.sample();
    EXPECT_EQ(details.processorUsedFractions, (std::vector<double>{0.25, 0}));
    EXPECT_EQ(details.interfaces[0].downBytesPerSecond, 500);

    // One processor is switched on: which is which nobody knows any more.
    ticks->push_back({.user = 50, .system = 0, .idle = 50, .nice = 0});
    EXPECT_EQ(sampler.sample().processorUsedFractions, (std::vector<double>{0, 0, 0}));
}

struct FakeDescriptions final : ProcessDescriptions {
    explicit FakeDescriptions(std::shared_ptr<std::map<std::int32_t, ProcessFacts>> facts) : known{std::move(facts)} {}
    std::optional<ProcessFacts> facts(std::int32_t identifier) override {
        const auto found = known->find(identifier);
        return found == known->end() ? std::nullopt : std::optional{found->second};
    }
    std::shared_ptr<std::map<std::int32_t, ProcessFacts>> known;
};

TEST(ProcessInspector, describesWhatItIsAskedForInThatOrder) {
    const auto facts = std::make_shared<std::map<std::int32_t, ProcessFacts>>();
    const auto clock = std::make_shared<ManualClock>();
    (*facts)[7] = {.parentIdentifier = 1, .user = Text{"ann"}, .traffic = ProcessTraffic{1000, 2000}};
    (*facts)[8] = {.isKernelThread = true};
    auto inspector = SamplerAccess::inspector(
        ProcessInspectorSources{.descriptions = std::make_unique<FakeDescriptions>(facts), .clock = clock});
    const std::vector<std::int32_t> asked{8, 9, 7};
    auto described = inspector.describe(asked);
    ASSERT_EQ(described.size(), 2U);
    EXPECT_EQ(described[0].id, 8);
    EXPECT_TRUE(described[0].isKernelThread);
    EXPECT_FALSE(described[0].readBytes.has_value());
    EXPECT_FALSE(described[0].readBytesPerSecond.has_value());
    EXPECT_EQ(described[1].user, Text{"ann"});
    EXPECT_EQ(described[1].readBytesPerSecond, 0);

    (*facts)[7].traffic = ProcessTraffic{3000, 10};
    clock->advance(4s);
    described = inspector.describe(asked);
    EXPECT_EQ(described[1].readBytes, 3000);
    EXPECT_EQ(described[1].readBytesPerSecond, 500);
    EXPECT_EQ(described[1].writtenBytesPerSecond, 0);  // another process under the same number
}

TEST(ProcessInspector, describesThisProcess) {
    ProcessInspector inspector;
    const std::vector<std::int32_t> asked{getpid()};
    const auto described = inspector.describe(asked);
    ASSERT_EQ(described.size(), 1U);
    EXPECT_EQ(described[0].parentId, getppid());
    EXPECT_LE(described[0].startedAt.value_or(Date::distantFuture()), Date::now());
}

}  // namespace
}  // namespace KestrelCore
