#include "Platform/ContinuousClock.hpp"

#include "support/MonitoringFakes.hpp"
#include "support/SupervisedCalls.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <thread>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;

#ifdef SYS_poll
constexpr long waitingCall = SYS_poll;
#else
constexpr long waitingCall = SYS_ppoll;
#endif

/// What every clock promises: the real one and the fake.
struct ContinuousClockContract : testing::TestWithParam<std::shared_ptr<const ContinuousClock>> {};

TEST_P(ContinuousClockContract, neverGoesBack) {
    const auto first = GetParam()->now();
    EXPECT_GE(GetParam()->now(), first);
}

TEST_P(ContinuousClockContract, doesNotSleepAfterACancellation) {
    const CancellationToken token;
    token.cancel();
    GetParam()->sleep(std::nullopt, token);
    GetParam()->sleep(1h, token);
}

TEST_P(ContinuousClockContract, doesNotSleepForNoTime) { GetParam()->sleep(0ns, CancellationToken{}); }

TEST_P(ContinuousClockContract, wakesOnCancellation) {
    for (const std::optional<std::chrono::nanoseconds> duration : {std::optional<std::chrono::nanoseconds>{1h}, {}}) {
        const CancellationToken token;
        std::thread canceller{[token] { token.cancel(); }};
        GetParam()->sleep(duration, token);
        EXPECT_TRUE(token.isCancelled());
        canceller.join();
    }
}

INSTANTIATE_TEST_SUITE_P(Clocks, ContinuousClockContract,
                         testing::Values(ContinuousClock::system(), std::make_shared<Testing::ManualClock>()),
                         [](const auto& info) { return info.index == 0 ? "system" : "manual"; });

TEST(ContinuousClock, sleepsForTheDurationAtLeast) {
    const auto clock = ContinuousClock::system();
    const auto begin = clock->now();
    clock->sleep(3ms, CancellationToken{});
    EXPECT_GE(clock->now() - begin, 3ms);
}

TEST(ContinuousClock, interruptionsWithoutEndKeepNobodyAsleep) {
    const auto clock = ContinuousClock::system();
    constexpr int endless = 10'000;
    int calls = 0;
    const CancellationToken token;
    const bool isSupervised = runSupervised(
        {waitingCall}, [&] { clock->sleep(1h, token); },
        [&](const SystemCall&) -> std::optional<int> {
            if (++calls == 3) token.cancel();
            return calls < endless ? EINTR : EIO;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(calls, 3);
    EXPECT_LT(interruptions({waitingCall}, [&] { clock->sleep(1us, CancellationToken{}); }), endless);
}

TEST(ContinuousClock, sleepsAndWakesWithoutADescriptorLeft) {
    const auto clock = ContinuousClock::system();
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const CancellationToken token;
    std::thread canceller{[token] { token.cancel(); }};
    clock->sleep(1h, token);
    clock->sleep(1ms, CancellationToken{});
    canceller.join();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_TRUE(token.isCancelled());
}

}  // namespace
}  // namespace KestrelCore
