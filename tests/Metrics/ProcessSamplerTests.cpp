#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include "support/MonitoringFakes.hpp"

#include <gtest/gtest.h>

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;
using Testing::FakeProcesses;
using Testing::Machine;
using Testing::ManualClock;

using ProcessorTime = std::chrono::duration<std::uint64_t, std::nano>;

struct ProcessSamplerTest : testing::Test {
    std::shared_ptr<FakeProcesses> processes = std::make_shared<FakeProcesses>();
    std::shared_ptr<Machine> machine = std::make_shared<Machine>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    ProcessSampler sampler{SamplerAccess::sampler(FakeProcesses::sources(processes, machine, clock))};

    void setTime(std::int32_t identifier, std::chrono::nanoseconds time) {
        processes->details[identifier].processorTime = ProcessorTime{static_cast<std::uint64_t>(time.count())};
    }
};

TEST_F(ProcessSamplerTest, listsWhatTheTableSaysInItsOrder) {
    processes->add(900, {.name = Text{"late"},
                         .executablePath = Text{"/opt/late"},
                         .processorTime = ProcessorTime{1},
                         .residentBytes = 11,
                         .virtualBytes = 22,
                         .threadCount = 3,
                         .runningThreadCount = 1,
                         .priority = 20});
    processes->add(2, {.name = Text{"kthreadd"}});
    const auto samples = sampler.sample();
    ASSERT_EQ(samples.size(), 2U);
    EXPECT_EQ(samples[0], (ProcessSample{.id = 900,
                                         .name = "late",
                                         .executablePath = Text{"/opt/late"},
                                         .cpuPercent = 0,
                                         .residentBytes = 11,
                                         .virtualBytes = 22,
                                         .threadCount = 3,
                                         .runningThreadCount = 1,
                                         .priority = 20}));
    EXPECT_EQ(samples[1].id, 2);
    EXPECT_EQ(samples[1].executablePath, std::nullopt);
}

TEST_F(ProcessSamplerTest, givesNoProcessorUseAtFirstAndTheAverageThen) {
    machine->processorCount = 8;
    processes->add(10, {.name = Text{"half"}});
    processes->add(11, {.name = Text{"all"}});
    setTime(10, 3s);
    for (const ProcessSample& sample : sampler.sample()) EXPECT_EQ(sample.cpuPercent, 0);
    clock->advance(1s);
    setTime(10, 3500ms);
    setTime(11, 12s);
    const auto samples = sampler.sample();
    EXPECT_EQ(samples[0].cpuPercent, 50.0);
    EXPECT_EQ(samples[1].cpuPercent, 800.0);
}

TEST_F(ProcessSamplerTest, dividesByAMillisecondAtLeast) {
    processes->add(10, {.name = Text{"quick"}});
    (void)sampler.sample();
    clock->advance(200us);
    setTime(10, 100us);
    EXPECT_EQ(sampler.sample()[0].cpuPercent, 10.0);
}

TEST_F(ProcessSamplerTest, namesAProcessWithoutANameByItsIdentifier) {
    processes->add(1234, {});
    EXPECT_EQ(sampler.sample()[0].name, Text{"Process 1234"});
}

TEST_F(ProcessSamplerTest, leavesOutAProcessThatExitsMeanwhileAndForgetsIt) {
    processes->add(10, {.name = Text{"stays"}});
    processes->add(11, {.name = Text{"goes"}});
    (void)sampler.sample();
    const ProcessDetails gone = processes->details[11];
    processes->details.erase(11);
    clock->advance(1s);
    const auto without = sampler.sample();
    ASSERT_EQ(without.size(), 1U);
    EXPECT_EQ(without[0].id, 10);

    // A process with that identifier starts anew: it has no history although its counter is larger.
    processes->details[11] = gone;
    setTime(11, 1s);
    clock->advance(1s);
    EXPECT_EQ(sampler.sample()[1].cpuPercent, 0);
}

TEST_F(ProcessSamplerTest, startsAReusedIdentifierAtZero) {
    processes->add(10, {.name = Text{"old"}});
    setTime(10, 90s);
    (void)sampler.sample();
    clock->advance(1s);
    setTime(10, 1s);
    EXPECT_EQ(sampler.sample()[0].cpuPercent, 0);
    clock->advance(1s);
    setTime(10, 1250ms);
    EXPECT_EQ(sampler.sample()[0].cpuPercent, 25);
}

TEST_F(ProcessSamplerTest, keepsItsHistoryWhenAListingFails) {
    processes->add(10, {.name = Text{"steady"}});
    (void)sampler.sample();
    const auto listed = std::exchange(processes->listed, {});
    EXPECT_TRUE(sampler.sample().empty());
    processes->listed = listed;
    clock->advance(2s);
    setTime(10, 1s);
    EXPECT_EQ(sampler.sample()[0].cpuPercent, 50);
}

TEST_F(ProcessSamplerTest, skipsIdentifiersThatAreNoProcess) {
    processes->add(0, {.name = Text{"kernel_task"}});
    processes->add(-5, {.name = Text{"negative"}});
    processes->add(3, {.name = Text{"real"}});
    const auto samples = sampler.sample();
    ASSERT_EQ(samples.size(), 1U);
    EXPECT_EQ(samples[0].id, 3);
}

TEST_F(ProcessSamplerTest, streamsTheFirstListAtOnceAndEndsWithoutWaiting) {
    processes->add(10, {.name = Text{"one"}});
    {
        auto stream = sampler.stream(1h);
        const auto first = stream.next();
        ASSERT_TRUE(first.has_value());
        EXPECT_EQ(first->size(), 1U);
        clock->waitForSleeps(1);
        clock->holdSleepers(true);
    }
    EXPECT_EQ(clock->wokenCount(), 0);
    clock->holdSleepers(false);
    clock->waitForWakes(1);
}

// A day of one pass a second over a table that changes all the time.
TEST_F(ProcessSamplerTest, keepsMemoryFlatOverADay) {
#ifdef KESTREL_SANITIZED
    GTEST_SKIP() << "the sanitizers' allocator does not tell what is in use";
#else
    constexpr int processCount = 40;
    constexpr int passCount = 86'400;
    for (int identifier = 1; identifier <= processCount; ++identifier) {
        processes->add(identifier, {.name = Text{"a process"}, .executablePath = Text{"/usr/bin/a-process"}});
    }
    std::int32_t next = processCount + 1;
    const auto pass = [&] {
        // The oldest one exits, and a new identifier takes its place.
        auto node = processes->details.extract(processes->listed.front());
        node.key() = next;
        processes->details.insert(std::move(node));
        std::ranges::rotate(processes->listed, processes->listed.begin() + 1);
        processes->listed.back() = next;
        next = next == 4'000'000 ? 1 : next + 1;
        clock->advance(1s);
        return sampler.sample().size();
    };
    for (int count = 0; count < 1000; ++count) pass();
    const auto usedBefore = mallinfo2().uordblks;
    std::size_t seen = 0;
    for (int count = 0; count < passCount; ++count) seen += pass();
    EXPECT_EQ(seen, static_cast<std::size_t>(processCount) * passCount);
    EXPECT_EQ(mallinfo2().uordblks, usedBefore);
#endif
}

TEST(ProcessSampler, findsThisProcessWithItsPathAndUse) {
    ProcessSampler sampler;
    (void)sampler.sample();
    const auto samples = sampler.sample();
    const auto self = std::ranges::find(samples, getpid(), &ProcessSample::id);
    ASSERT_NE(self, samples.end());
    ASSERT_TRUE(self->executablePath.has_value());
    EXPECT_TRUE(self->executablePath->hasSuffix("/kestrel-tests"));
    EXPECT_EQ(self->name, Text{"kestrel-tests"});
    EXPECT_GE(self->threadCount, 1);
    EXPECT_GE(self->runningThreadCount, 1);
    EXPECT_GT(self->residentBytes, 0);
    EXPECT_GE(self->virtualBytes, self->residentBytes);
    EXPECT_TRUE(std::ranges::is_sorted(samples, {}, &ProcessSample::id));
    EXPECT_EQ(std::hash<ProcessSample>{}(*self), std::hash<ProcessSample>{}(ProcessSample{*self}));
}

TEST(ProcessSampler, servesSeveralStreamsAtOnce) {
    ProcessSampler sampler;
    std::vector<std::thread> consumers;
    std::atomic<int> received = 0;
    for (int index = 0; index < 3; ++index) {
        consumers.emplace_back([stream = sampler.stream(1us), &received]() mutable {
            for (int taken = 0; taken < 5; ++taken) {
                if (const auto samples = stream.next(); samples && !samples->empty()) ++received;
            }
        });
    }
    for (std::thread& consumer : consumers) consumer.join();
    EXPECT_EQ(received, 15);
}

}  // namespace
}  // namespace KestrelCore
