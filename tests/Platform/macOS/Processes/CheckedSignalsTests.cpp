#include "Platform/macOS/Processes/Portable/CheckedSignals.hpp"

#include "KestrelCore/Base/PlatformError.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <vector>

namespace KestrelCore {
namespace {

constexpr TaskBytes::StartTime noon{.seconds = 1'700'000'000, .microseconds = 5};
constexpr TaskBytes::StartTime justAfter{.seconds = 1'700'000'000, .microseconds = 6};

/// A machine with one identifier, and whoever has it.
struct Machine {
    StartAnswer start{.started = noon, .errorNumber = 0};
    int signalError = 0;
    std::vector<int> sent{};  ///< what was told to anybody

    SignalCalls calls() {
        return {.start = [this](std::int32_t) { return start; },
                .signal =
                    [this](std::int32_t, int signal) {
                        if (signal != 0 && signalError == 0) sent.push_back(signal);
                        return signalError;
                    }};
    }
    void giveTheIdentifierTo(TaskBytes::StartTime started) { start = {.started = started, .errorNumber = 0}; }
    /// What is left is nothing, or a zombie.
    void end() { start = {.started = {}, .errorNumber = ESRCH}; }
    /// It is another user's, or becomes one.
    void hide() { start = {.started = {}, .errorNumber = EPERM}; }
};

/// The error number of a call that fails; 0 when it does not.
template <typename Call>
int errorOf(Call call) {
    try {
        call();
        return 0;
    } catch (const PlatformError& error) {
        return error.code();
    }
}

TEST(CheckedSignals, tellTheProcessThatWasHeld) {
    Machine machine;
    const auto handle = heldByStartTime(4711, machine.calls());
    for (const ProcessSignal signal :
         {ProcessSignal::quit, ProcessSignal::freeze, ProcessSignal::resume, ProcessSignal::forceQuit})
        handle->send(signal);
    EXPECT_EQ(machine.sent, (std::vector<int>{SIGTERM, SIGSTOP, SIGCONT, SIGKILL}));
    EXPECT_FALSE(handle->hasExited());
}

TEST(CheckedSignals, neverTellAnotherProcessUnderTheSameIdentifier) {
    Machine machine;
    const auto handle = heldByStartTime(4711, machine.calls());
    machine.giveTheIdentifierTo(justAfter);
    EXPECT_EQ(errorOf([&] { handle->send(ProcessSignal::forceQuit); }), ESRCH);
    EXPECT_TRUE(handle->hasExited());
    EXPECT_TRUE(machine.sent.empty());
}

TEST(CheckedSignals, tellNobodyWhereTheProcessHasEnded) {
    Machine machine;
    const auto handle = heldByStartTime(4711, machine.calls());
    // A zombie still takes signals, and they mean nothing to it.
    machine.end();
    EXPECT_EQ(errorOf([&] { handle->send(ProcessSignal::quit); }), ESRCH);
    EXPECT_TRUE(handle->hasExited());
    EXPECT_TRUE(machine.sent.empty());
}

TEST(CheckedSignals, aProcessThatTakesAnotherUsersRightsIsStillTheSame) {
    Machine machine;
    const auto handle = heldByStartTime(4711, machine.calls());
    machine.hide();
    machine.signalError = EPERM;
    EXPECT_FALSE(handle->hasExited());
    EXPECT_EQ(errorOf([&] { handle->send(ProcessSignal::quit); }), EPERM);
}

TEST(CheckedSignals, anotherUsersProcessIsKnownByItsIdentifierAlone) {
    Machine machine;
    machine.hide();
    machine.signalError = EPERM;
    const auto handle = heldByStartTime(4711, machine.calls());
    EXPECT_FALSE(handle->hasExited());
    EXPECT_EQ(errorOf([&] { handle->send(ProcessSignal::quit); }), EPERM);
    machine.signalError = ESRCH;
    EXPECT_TRUE(handle->hasExited());
}

TEST(CheckedSignals, whatIsNoProcessCanNotBeHeld) {
    Machine machine;
    for (const std::int32_t identifier : {0, -1, -4711}) {
        EXPECT_EQ(errorOf([&] { (void)heldByStartTime(identifier, machine.calls()); }), ESRCH) << identifier;
    }
    machine.end();
    machine.signalError = ESRCH;
    EXPECT_EQ(errorOf([&] { (void)heldByStartTime(4711, machine.calls()); }), ESRCH);
    EXPECT_TRUE(machine.sent.empty());
}

}  // namespace
}  // namespace KestrelCore
