#include "terminal/InterruptionWatch.hpp"

#include "terminal/Interruption.hpp"

#include <gtest/gtest.h>

#include <future>

namespace KestrelCLI {

TEST(InterruptionWatch, cancelsItsTokenWhenTheUserAsksToStop) {
    const InterruptionWatch watch;
    EXPECT_FALSE(watch.token().isCancelled());
    std::promise<void> cancelled;
    const auto registration = watch.token().onCancel([&] { cancelled.set_value(); });
    Interruption::set(true);
    cancelled.get_future().wait();
    Interruption::set(false);
    EXPECT_TRUE(watch.token().isCancelled());
}

TEST(InterruptionWatch, leavesItsTokenAloneWhenItEndsBefore) {
    KestrelCore::CancellationToken token;
    {
        const InterruptionWatch watch;
        token = watch.token();
    }
    EXPECT_FALSE(token.isCancelled());
}

}  // namespace KestrelCLI
