#include "KestrelCore/Base/EventStream.hpp"

#include <atomic>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

// No test here waits for time to pass: what must happen first is awaited as an event.

namespace KestrelCore {
namespace {

using Stream = EventStream<int>;

template <typename T>
std::vector<T> all(EventStream<T>& stream) {
    std::vector<T> values;
    while (auto value = stream.next()) values.push_back(std::move(*value));
    return values;
}

std::exception_ptr anError() { return std::make_exception_ptr(std::runtime_error{"no more"}); }

TEST(EventStream, deliversEveryValueInOrderAndThenOnlyTheEnd) {
    auto stream = Stream::start([](const Stream::Continuation& continuation) {
        for (int i = 0; i < 1000; ++i) continuation.yield(i);
    });
    const std::vector<int> values = all(stream);
    ASSERT_EQ(values.size(), 1000U);
    for (int i = 0; i < 1000; ++i) EXPECT_EQ(values[static_cast<std::size_t>(i)], i);
    EXPECT_FALSE(stream.next().has_value());
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, yieldingNeverWaitsForTheConsumer) {
    auto [stream, continuation] = Stream::make();
    for (int i = 0; i < 100'000; ++i) continuation.yield(i);
    continuation.finish();
    EXPECT_EQ(all(stream).size(), 100'000U);
}

TEST(EventStream, whatWasBufferedComesBeforeTheErrorAndTheErrorOnce) {
    auto [stream, continuation] = Stream::make();
    continuation.yield(1);
    continuation.yield(2);
    continuation.finish(anError());
    EXPECT_EQ(stream.next(), 1);
    EXPECT_EQ(stream.next(), 2);
    EXPECT_THROW((void)stream.next(), std::runtime_error);
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, anExceptionOfTheProducerEndsTheStream) {
    auto stream = Stream::start([](const Stream::Continuation& continuation) {
        continuation.yield(7);
        throw std::runtime_error{"broken"};
    });
    EXPECT_EQ(stream.next(), 7);
    EXPECT_THROW((void)stream.next(), std::runtime_error);
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, nothingComesAfterTheEnd) {
    auto [stream, continuation] = Stream::make();
    continuation.finish();
    continuation.yield(1);
    continuation.finish(anError());
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, onlyTheFirstEndCounts) {
    auto [stream, continuation] = Stream::make();
    continuation.finish(anError());
    continuation.finish();
    EXPECT_THROW((void)stream.next(), std::runtime_error);
}

TEST(EventStream, afterCancellingTheBufferIsReadableAndThenTheEndWithoutError) {
    auto [stream, continuation] = Stream::make();
    continuation.yield(1);
    stream.cancel();
    continuation.yield(2);
    continuation.finish(anError());
    EXPECT_EQ(stream.next(), 1);
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, anErrorBeforeTheCancellationIsStillDelivered) {
    auto [stream, continuation] = Stream::make();
    continuation.finish(anError());
    stream.cancel();
    EXPECT_THROW((void)stream.next(), std::runtime_error);
}

TEST(EventStream, leavingTheLoopDoesNotCancelButDroppingTheStreamDoes) {
    std::optional<CancellationToken> token;
    {
        auto [stream, continuation] = Stream::make();
        token = continuation.cancellation();
        continuation.yield(1);
        while (stream.next().has_value()) break;
        EXPECT_FALSE(token->isCancelled());
    }
    EXPECT_TRUE(token->isCancelled());
}

TEST(EventStream, aStreamThatIsAssignedOverIsDropped) {
    auto [first, firstContinuation] = Stream::make();
    auto [second, secondContinuation] = Stream::make();
    first = std::move(second);
    EXPECT_TRUE(firstContinuation.cancellation().isCancelled());
    EXPECT_FALSE(secondContinuation.cancellation().isCancelled());
    secondContinuation.yield(5);
    EXPECT_EQ(first.next(), 5);
}

TEST(EventStream, aMovedStreamGoesOn) {
    auto [stream, continuation] = Stream::make();
    Stream moved = std::move(stream);
    EXPECT_FALSE(continuation.cancellation().isCancelled());
    continuation.yield(3);
    EXPECT_EQ(moved.next(), 3);
}

TEST(EventStream, cancellingRunsTheCallbacksOnceOnTheCancellingThreadBeforeItReturns) {
    auto [stream, continuation] = Stream::make();
    std::vector<std::thread::id> callers;
    const auto registration =
        continuation.cancellation().onCancel([&] { callers.push_back(std::this_thread::get_id()); });
    stream.cancel();
    stream.cancel();
    EXPECT_EQ(callers, std::vector{std::this_thread::get_id()});
}

TEST(EventStream, aCancellationCallbackMayUseTheStream) {
    auto [stream, continuation] = Stream::make();
    const auto registration = continuation.cancellation().onCancel([&continuation = continuation] {
        continuation.yield(1);
        continuation.finish();
    });
    stream.cancel();
    EXPECT_FALSE(stream.next().has_value());
}

TEST(EventStream, cancellingWakesAReaderThatWaits) {
    auto [stream, continuation] = Stream::make();
    continuation.yield(1);
    std::promise<void> hasRead;
    auto reader = std::async(std::launch::async, [&stream = stream, &hasRead] {
        (void)stream.next();
        hasRead.set_value();
        return stream.next().has_value();
    });
    hasRead.get_future().wait();
    stream.cancel();  // before or while the reader waits: both must end it
    EXPECT_FALSE(reader.get());
}

TEST(EventStream, aProducerWakesAReaderThatWaits) {
    auto [stream, continuation] = Stream::make();
    auto reader = std::async(std::launch::async, [&stream = stream] { return all(stream); });
    for (int i = 0; i < 100; ++i) continuation.yield(i);
    continuation.finish();
    EXPECT_EQ(reader.get().size(), 100U);
}

TEST(EventStream, droppingDoesNotWaitForAProducerThatIsStuck) {
    std::promise<void> mayEnd;
    // Shared, since the producer may still be inside `set_value` when this test is over.
    const auto sawCancellation = std::make_shared<std::promise<bool>>();
    {
        auto stream = Stream::start(
            [sawCancellation, ending = mayEnd.get_future().share()](const Stream::Continuation& continuation) {
                continuation.yield(1);
                ending.wait();  // stands for a system call that does not return
                sawCancellation->set_value(continuation.cancellation().isCancelled());
            });
        EXPECT_EQ(stream.next(), 1);
    }
    mayEnd.set_value();  // reached only because the drop did not wait
    EXPECT_TRUE(sawCancellation->get_future().get());
}

TEST(EventStream, droppingFreesWhatNobodyCanRead) {
    const auto value = std::make_shared<int>(1);
    std::optional<EventStream<std::shared_ptr<int>>::Continuation> leftBehind;
    {
        auto [stream, continuation] = EventStream<std::shared_ptr<int>>::make();
        continuation.yield(value);
        leftBehind = continuation;
        EXPECT_EQ(value.use_count(), 2);
    }
    EXPECT_EQ(value.use_count(), 1);
}

TEST(EventStream, whatTheProducerOwnsIsGoneBeforeTheEndIsSeen) {
    const auto owned = std::make_shared<int>(1);
    auto stream = Stream::start([owned](const Stream::Continuation& continuation) { continuation.yield(*owned); });
    EXPECT_EQ(all(stream).size(), 1U);
    EXPECT_EQ(owned.use_count(), 1);
}

TEST(EventStream, aLimitedReadGivesTheValueTheEndOrNothing) {
    using namespace std::chrono_literals;
    auto [stream, continuation] = Stream::make();
    EXPECT_TRUE(std::holds_alternative<Stream::TimedOut>(stream.next(0ns)));
    EXPECT_TRUE(std::holds_alternative<Stream::TimedOut>(stream.next(-1s)));
    continuation.yield(4);
    EXPECT_EQ(std::get<int>(stream.next(0ns)), 4);
    continuation.finish(anError());
    EXPECT_THROW((void)stream.next(0ns), std::runtime_error);
    EXPECT_TRUE(std::holds_alternative<Stream::Ended>(stream.next(0ns)));
}

TEST(EventStream, theLongestLimitMeansNone) {
    auto [stream, continuation] = Stream::make();
    auto reader =
        std::async(std::launch::async, [&stream = stream] { return stream.next(std::chrono::nanoseconds::max()); });
    continuation.yield(9);
    EXPECT_EQ(std::get<int>(reader.get()), 9);
    continuation.finish();
    EXPECT_TRUE(std::holds_alternative<Stream::Ended>(stream.next(std::chrono::nanoseconds::max())));
}

TEST(EventStream, carriesValuesThatCanOnlyBeMoved) {
    auto [stream, continuation] = EventStream<std::unique_ptr<int>>::make();
    continuation.yield(std::make_unique<int>(6));
    EXPECT_EQ(**stream.next(), 6);
}

TEST(EventStream, manyThreadsMayYield) {
    auto [stream, continuation] = Stream::make();
    std::vector<std::thread> producers;
    for (int i = 0; i < 4; ++i) {
        producers.emplace_back([continuation = continuation] {
            for (int j = 0; j < 1000; ++j) continuation.yield(j);
        });
    }
    for (std::thread& producer : producers) producer.join();
    continuation.finish();
    EXPECT_EQ(all(stream).size(), 4000U);
}

}  // namespace
}  // namespace KestrelCore
