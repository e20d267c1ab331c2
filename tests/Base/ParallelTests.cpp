#include "Base/Parallel.hpp"

#include "support/ChildProcess.hpp"
#include "support/SystemCallFilter.hpp"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <stdexcept>
#include <string>
#include <sys/syscall.h>
#include <thread>

namespace KestrelCore {
namespace {

/// What comes out of both halves, when each throws the text it is given, or nothing when that is empty.
std::string thrown(const std::string& first, const std::string& second, std::atomic<int>& ended) {
    const auto half = [&ended](const std::string& text) {
        ++ended;
        if (!text.empty()) throw std::runtime_error{text};
    };
    try {
        inParallel([&] { half(first); }, [&] { half(second); });
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "nothing";
}

}  // namespace

TEST(Parallel, callsEachNumberOnceAndTheLowestHere) {
    std::array<std::atomic<int>, 5> calls{};
    std::thread::id lowest;
    onThreads(5, [&](unsigned thread) {
        ++calls[thread];
        if (thread == 0) lowest = std::this_thread::get_id();
    });
    for (const auto& count : calls) EXPECT_EQ(count, 1);
    EXPECT_EQ(lowest, std::this_thread::get_id());
    int alone = 0;
    onThreads(1, [&alone](unsigned thread) { alone += thread == 0 ? 1 : 100; });
    EXPECT_EQ(alone, 1);
}

TEST(Parallel, bothHalvesEndAndTheFirstExceptionComesOut) {
    std::atomic<int> ended = 0;
    EXPECT_EQ(thrown("", "", ended), "nothing");
    EXPECT_EQ(thrown("one", "", ended), "one");
    EXPECT_EQ(thrown("", "two", ended), "two");
    EXPECT_EQ(thrown("one", "two", ended), "one");
    EXPECT_EQ(ended, 8);
}

TEST(Parallel, doesEverythingHereWhereThereIsNoThread) {
    inChild(ChildSetting::same, [] {
        if (!refuseSystemCalls({SYS_clone, SYS_clone3}, EAGAIN)) GTEST_SKIP() << "No system call filters here";
        int calls = 0;
        onThreads(4, [&calls](unsigned) { ++calls; });
        EXPECT_EQ(calls, 4);
        std::atomic<int> ended = 0;
        EXPECT_EQ(thrown("", "two", ended), "two");
        EXPECT_EQ(ended, 2);
    });
}

}  // namespace KestrelCore
