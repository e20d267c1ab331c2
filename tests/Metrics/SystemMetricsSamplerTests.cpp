#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include "support/MonitoringFakes.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;
using Testing::Machine;
using Testing::ManualClock;

struct SystemMetricsSamplerTest : testing::Test {
    std::shared_ptr<Machine> machine = std::make_shared<Machine>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    SystemMetricsSampler sampler{SamplerAccess::sampler(Machine::sources(machine, clock))};
};

TEST_F(SystemMetricsSamplerTest, givesNoRatesAtFirstAndRealOnesThen) {
    machine->ticks = ProcessorTicks{.user = 100, .system = 100, .idle = 800, .nice = 0};
    machine->interfaces = {{"eth0", false, 5000, 700}};
    machine->date = Date{800'000'000.5};
    const SystemSample first = sampler.sample();
    EXPECT_EQ(first.timestamp, Date{800'000'000.5});
    EXPECT_EQ(first.cpuUsedFraction, 0);
    EXPECT_EQ(first.networkDownBytesPerSecond, 0);
    EXPECT_EQ(first.networkUpBytesPerSecond, 0);

    machine->ticks = ProcessorTicks{.user = 150, .system = 110, .idle = 920, .nice = 20};
    machine->interfaces = {{"eth0", false, 9000, 1700}};
    clock->advance(2s);
    const SystemSample second = sampler.sample();
    EXPECT_EQ(second.cpuUsedFraction, 0.4);
    EXPECT_EQ(second.networkDownBytesPerSecond, 2000);
    EXPECT_EQ(second.networkUpBytesPerSecond, 500);
}

TEST_F(SystemMetricsSamplerTest, dividesByATenthOfASecondAtLeast) {
    machine->interfaces = {{"eth0", false, 0, 0}};
    (void)sampler.sample();
    machine->interfaces = {{"eth0", false, 1000, 0}};
    clock->advance(10ms);
    EXPECT_EQ(sampler.sample().networkDownBytesPerSecond, 10'000);
}

TEST_F(SystemMetricsSamplerTest, measuresElapsedTimeWithoutTheWallClock) {
    machine->interfaces = {{"eth0", false, 0, 0}};
    machine->date = Date{1000};
    (void)sampler.sample();
    machine->interfaces = {{"eth0", false, 4000, 0}};
    machine->date = Date{-90'000};  // somebody set the clock
    clock->advance(4s);
    EXPECT_EQ(sampler.sample().networkDownBytesPerSecond, 1000);
}

TEST_F(SystemMetricsSamplerTest, survivesCountersThatGoBackwardsAndInterfacesThatVanish) {
    constexpr std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    const std::vector<std::vector<InterfaceCounters>> passes = {
        {{"eth0", false, 1000, 1000}, {"wlan0", false, 500, 500}},
        {{"eth0", false, 10, 1100}},
        {},
        {{"eth0", false, 50'000, 50'000}, {"wlan0", false, 4'000'000'000, 1}},
        {{"eth0", false, largest, largest}},
        {{"eth0", false, 5, 5}},
    };
    const std::vector<std::int64_t> down = {0, 0, 0, 0, 0, 0};
    const std::vector<std::int64_t> up = {0, 100, 0, 0, 0, 0};
    for (std::size_t index = 0; index < passes.size(); ++index) {
        machine->interfaces = passes[index];
        const SystemSample sample = sampler.sample();
        EXPECT_EQ(sample.networkDownBytesPerSecond, down[index]) << index;
        EXPECT_EQ(sample.networkUpBytesPerSecond, up[index]) << index;
        clock->advance(1s);
    }
}

TEST_F(SystemMetricsSamplerTest, leavesLoopbackTrafficOut) {
    machine->interfaces = {{"lo", true, 0, 0}, {"eth0", false, 0, 0}};
    (void)sampler.sample();
    machine->interfaces = {{"lo", true, 1'000'000, 1'000'000}, {"eth0", false, 30, 40}};
    clock->advance(1s);
    const SystemSample sample = sampler.sample();
    EXPECT_EQ(sample.networkDownBytesPerSecond, 30);
    EXPECT_EQ(sample.networkUpBytesPerSecond, 40);
}

TEST_F(SystemMetricsSamplerTest, keepsACounterOfAFailedQueryAsZeros) {
    machine->ticks = ProcessorTicks{.user = 100, .system = 0, .idle = 100, .nice = 0};
    (void)sampler.sample();
    machine->ticks.reset();
    EXPECT_EQ(sampler.sample().cpuUsedFraction, 0);
    machine->ticks = ProcessorTicks{.user = 300, .system = 0, .idle = 100, .nice = 0};
    EXPECT_EQ(sampler.sample().cpuUsedFraction, 0.75);  // against the zeros of the failure
}

TEST_F(SystemMetricsSamplerTest, hasNothingToSayOfABatteryOnADesktop) {
    const SystemSample sample = sampler.sample();
    EXPECT_EQ(sample.batteryPercent, std::nullopt);
    EXPECT_EQ(sample.isCharging, std::nullopt);
    EXPECT_EQ(sample.thermalLevel, ThermalLevel::unknown);
}

TEST_F(SystemMetricsSamplerTest, readsTheWholeMachine) {
    machine->memory = MemoryStatistics{
        .activePages = 10, .inactivePages = 20, .wiredPages = 40, .compressorPages = 5, .swapUsedBytes = 12'345};
    machine->physicalMemoryBytes = 100 * 4096;
    machine->power = PowerSource{30, 40, PowerSourceState::mains};
    machine->thermal = 2;
    const SystemSample sample = sampler.sample();
    EXPECT_EQ(sample.memoryTotalBytes, 409'600);
    EXPECT_EQ(sample.memoryUsedBytes, 307'200);
    EXPECT_EQ(sample.memoryPressure, Text{"Elevated"});
    EXPECT_EQ(sample.swapUsedBytes, 12'345);
    EXPECT_EQ(sample.batteryPercent, 0.75);
    EXPECT_EQ(sample.isCharging, true);
    EXPECT_EQ(sample.thermalLevel, ThermalLevel::serious);

    machine->memory.reset();
    const SystemSample blind = sampler.sample();
    EXPECT_EQ(blind.memoryTotalBytes, 409'600);
    EXPECT_EQ(blind.memoryUsedBytes, 0);
    EXPECT_EQ(blind.memoryPressure, Text{"Unknown"});
}

TEST_F(SystemMetricsSamplerTest, tellsOfTheCacheAndTheSwapWithoutTakingASample) {
    machine->memory = MemoryStatistics{.cacheBytes = 77, .swapTotalBytes = 0};
    EXPECT_EQ(sampler.memoryDetails(), (MemoryDetails{.cacheBytes = 77, .swapTotalBytes = 0}));
    machine->memory.reset();
    EXPECT_EQ(sampler.memoryDetails(), MemoryDetails{});
    // The rates of a first sample are zeros: nothing was compared before it.
    machine->ticks = ProcessorTicks{.user = 100, .system = 100, .idle = 800, .nice = 0};
    EXPECT_EQ(sampler.sample().cpuUsedFraction, 0);
}

// ---- Streams -------------------------------------------------------------------------------------------------------

TEST_F(SystemMetricsSamplerTest, streamsTheFirstSampleAtOnceAndOneAfterEachInterval) {
    machine->date = Date{1};
    auto stream = sampler.stream(1s);
    ASSERT_TRUE(stream.next().has_value());
    clock->waitForSleeps(1);
    EXPECT_EQ(clock->lastSleep(), 1s);
    // Nothing comes while the interval lasts.
    EXPECT_TRUE(std::holds_alternative<EventStream<SystemSample>::TimedOut>(stream.next(0ns)));
    clock->advance(999ms);
    EXPECT_TRUE(std::holds_alternative<EventStream<SystemSample>::TimedOut>(stream.next(0ns)));
    clock->advance(1ms);
    EXPECT_TRUE(stream.next().has_value());
}

TEST_F(SystemMetricsSamplerTest, droppingAStreamDoesNotWaitForItsInterval) {
    std::vector<std::string> events;
    {
        auto stream = sampler.stream(1h);
        ASSERT_TRUE(stream.next().has_value());
        clock->waitForSleeps(1);
        clock->holdSleepers(true);
    }
    // Here the sleep has not returned, and can't until it is let go below: the stream's end did not wait for it.
    if (clock->wokenCount() == 0) events.emplace_back("dropped");
    clock->holdSleepers(false);
    clock->waitForWakes(1);
    events.emplace_back("woken");
    EXPECT_EQ(events, (std::vector<std::string>{"dropped", "woken"}));
}

TEST_F(SystemMetricsSamplerTest, endsAStreamThatIsCancelled) {
    auto stream = sampler.stream(1h);
    ASSERT_TRUE(stream.next().has_value());
    stream.cancel();
    EXPECT_FALSE(stream.next().has_value());
}

TEST(SystemMetricsSampler, isKeptAliveByItsStream) {
    const auto machine = std::make_shared<Machine>();
    const auto clock = std::make_shared<ManualClock>();
    // Gone at the end of the line.
    auto stream = SamplerAccess::sampler(Machine::sources(machine, clock)).stream(1s);
    ASSERT_TRUE(stream.next().has_value());
    clock->waitForSleeps(1);
    clock->advance(1s);
    EXPECT_TRUE(stream.next().has_value());
}

/// Tells when the sampler that owns it is gone.
struct Farewell final : ThermalState {
    explicit Farewell(std::promise<void> gone) : gone{std::move(gone)} {}
    ~Farewell() override { gone.set_value(); }
    std::optional<int> level() override { return std::nullopt; }
    std::promise<void> gone;
};

TEST(SystemMetricsSampler, letsGoOfEverythingWhenAStreamOnTheRealClockIsDropped) {
    const auto machine = std::make_shared<Machine>();
    std::promise<void> gone;
    std::future<void> isGone = gone.get_future();
    {
        SystemMetricsSources sources = Machine::sources(machine, ContinuousClock::system());
        sources.thermalState = std::make_unique<Farewell>(std::move(gone));
        SystemMetricsSampler sampler{SamplerAccess::sampler(std::move(sources))};
        auto endless = sampler.stream(std::chrono::duration<double>{HUGE_VAL});
        auto hourly = sampler.stream(1h);
        ASSERT_TRUE(endless.next().has_value());
        ASSERT_TRUE(hourly.next().has_value());
    }
    isGone.wait();  // would take an hour, and for ever, if the sleeps were not woken
}

TEST(SystemMetricsSampler, servesSeveralStreamsAndCallersAtOnce) {
    SystemMetricsSampler sampler;
    constexpr int streamCount = 4;
    constexpr int samplesEach = 20;
    std::vector<std::thread> consumers;
    std::atomic<int> received = 0;
    for (int index = 0; index < streamCount; ++index) {
        consumers.emplace_back([stream = sampler.stream(1us), &received]() mutable {
            for (int taken = 0; taken < samplesEach; ++taken) {
                const auto sample = stream.next();
                if (sample && sample->cpuUsedFraction >= 0 && sample->cpuUsedFraction <= 1) ++received;
            }
        });
    }
    for (int call = 0; call < samplesEach; ++call) EXPECT_GT(sampler.sample().memoryTotalBytes, 0);
    for (std::thread& consumer : consumers) consumer.join();
    EXPECT_EQ(received, streamCount * samplesEach);
}

TEST(SystemMetricsSampler, readsThisMachine) {
    SystemMetricsSampler sampler;
    const SystemSample sample = sampler.sample();
    EXPECT_GT(sample.memoryTotalBytes, 0);
    EXPECT_GT(sample.memoryUsedBytes, 0);
    EXPECT_LE(sample.memoryUsedBytes, sample.memoryTotalBytes);
    EXPECT_NE(sample.memoryPressure, Text{"Unknown"});
    EXPECT_EQ(sample, SystemSample{sample});
    EXPECT_EQ(std::hash<SystemSample>{}(sample), std::hash<SystemSample>{}(SystemSample{sample}));
}

}  // namespace
}  // namespace KestrelCore
