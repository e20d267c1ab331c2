#include "terminal/Interruption.hpp"

#include "support/ChildProcess.hpp"

#include <gtest/gtest.h>

#include <csignal>

namespace KestrelCLI {

using KestrelCore::ChildSetting;
using KestrelCore::inChild;

TEST(Interruption, isRequestedByTheFirstSignal) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        inChild(ChildSetting::same, [number] {
            for (const int each : {SIGINT, SIGTERM, SIGHUP}) signal(each, SIG_DFL);
            Interruption::watch();
            EXPECT_FALSE(Interruption::isRequested());
            raise(number);
            EXPECT_TRUE(Interruption::isRequested()) << number;
        });
    }
}

TEST(Interruption, leavesSignalsAloneThatTheProgramWasStartedWithout) {
    // As nohup does, and a shell's "trap '' INT".
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        inChild(ChildSetting::same, [number] {
            signal(number, SIG_IGN);
            Interruption::watch();
            raise(number);
            raise(number);
            EXPECT_FALSE(Interruption::isRequested()) << number;
        });
    }
}

}  // namespace KestrelCLI
