#include "Base/SerialExecutor.hpp"

#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace KestrelCore {
namespace {

TEST(SerialExecutor, runsOneOperationAtATime) {
    SerialExecutor executor;
    int counter = 0;  // would lose counts if two operations overlapped
    bool isInside = false;
    bool haveOverlapped = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 10'000; ++j) {
                executor.run([&] {
                    haveOverlapped = haveOverlapped || std::exchange(isInside, true);
                    ++counter;
                    isInside = false;
                });
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 40'000);
    EXPECT_FALSE(haveOverlapped);
}

TEST(SerialExecutor, handsBackWhatTheOperationGivesOrThrows) {
    SerialExecutor executor;
    EXPECT_EQ(executor.run([] { return std::string{"done"}; }), "done");
    std::string place;
    EXPECT_EQ(&executor.run([&]() -> std::string& { return place; }), &place);
    EXPECT_THROW(executor.run([] { throw std::runtime_error{"failed"}; }), std::runtime_error);
    EXPECT_EQ(executor.run([] { return 1; }), 1);  // an operation that threw has let go
}

TEST(SerialExecutor, isIsolatedInsideAnOperation) {
    SerialExecutor executor;
    executor.run([&] { executor.assertIsolated("KestrelCore/Test"); });
}

TEST(SerialExecutorDeathTest, theIsolationPreconditionStopsTheProcess) {
    const SerialExecutor idle;
    EXPECT_DEATH(idle.assertIsolated("KestrelCore/Test"), "KestrelCore/Test: Fatal error: Incorrect executor");
    EXPECT_DEATH(
        {
            SerialExecutor busy;
            busy.run([&] { std::thread{[&] { busy.assertIsolated("KestrelCore/Test"); }}.join(); });
        },
        "Incorrect executor");
}

TEST(SerialExecutorDeathTest, anOperationThatRunsAnotherStopsInsteadOfWaitingForItself) {
    EXPECT_DEATH(
        {
            SerialExecutor executor;
            executor.run([&] { executor.run([] {}); });
        },
        "KestrelCore/SerialExecutor: Fatal error");
}

}  // namespace
}  // namespace KestrelCore
