#include "KestrelCore/Base/CancellationToken.hpp"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

TEST(CancellationToken, copiesShareTheFlag) {
    const CancellationToken token;
    const CancellationToken copy = token;
    EXPECT_FALSE(copy.isCancelled());
    token.cancel();
    EXPECT_TRUE(copy.isCancelled());
}

TEST(CancellationToken, runsEveryCallbackOnceInOrder) {
    const CancellationToken token;
    std::vector<int> order;
    const auto first = token.onCancel([&] { order.push_back(1); });
    const auto second = token.onCancel([&] { order.push_back(2); });
    token.cancel();
    token.cancel();
    EXPECT_EQ(order, (std::vector{1, 2}));
}

TEST(CancellationToken, aLateCallbackRunsAtOnce) {
    const CancellationToken token;
    token.cancel();
    bool hasRun = false;
    const auto registration = token.onCancel([&] { hasRun = true; });
    EXPECT_TRUE(hasRun);
}

TEST(CancellationToken, aCallbackThatWasTakenBackDoesNotRun) {
    const CancellationToken token;
    int runs = 0;
    {
        const auto registration = token.onCancel([&] { ++runs; });
    }
    std::optional<CancellationToken::Registration> assigned = token.onCancel([&] { ++runs; });
    assigned = CancellationToken::Registration{};
    token.cancel();
    EXPECT_EQ(runs, 0);
}

TEST(CancellationToken, aMovedRegistrationStaysRegistered) {
    const CancellationToken token;
    int runs = 0;
    auto registration = token.onCancel([&] { ++runs; });
    const auto moved = std::move(registration);
    token.cancel();
    EXPECT_EQ(runs, 1);
}

TEST(CancellationToken, aCallbackMayAskTheTokenAndCancelItAgain) {
    const CancellationToken token;
    bool wasCancelled = false;
    const auto registration = token.onCancel([&] {
        wasCancelled = token.isCancelled();
        token.cancel();
    });
    token.cancel();
    EXPECT_TRUE(wasCancelled);
}

TEST(CancellationToken, takingBackWaitsForACallbackThatRuns) {
    const CancellationToken token;
    std::promise<void> isRunning;
    std::promise<void> mayEnd;
    std::atomic<bool> hasEnded = false;
    std::optional<CancellationToken::Registration> registration = token.onCancel([&] {
        isRunning.set_value();
        mayEnd.get_future().wait();
        hasEnded = true;
    });
    std::thread canceller{[&] { token.cancel(); }};
    isRunning.get_future().wait();
    auto takenBack = std::async(std::launch::async, [&] {
        registration.reset();
        return hasEnded.load();
    });
    mayEnd.set_value();
    EXPECT_TRUE(takenBack.get());
    canceller.join();
}

TEST(CancellationToken, ofManyCancellersOneRunsTheCallback) {
    for (int round = 0; round < 100; ++round) {
        const CancellationToken token;
        std::atomic<int> runs = 0;
        const auto registration = token.onCancel([&] { ++runs; });
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) threads.emplace_back([&] { token.cancel(); });
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(runs, 1);
    }
}

}  // namespace
}  // namespace KestrelCore
