#pragma once

#include "commands/Command.hpp"
#include "support/CommandRun.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

namespace KestrelCLI {

/// Commands on a history of their own, with a folder to be scanned.
class HistoryCommandTest : public testing::Test {
protected:
    /// Says what a run that printed nothing and ended with that code has told.
    static std::string messagesOf(const CommandRun& failed, ExitCode code) {
        EXPECT_EQ(failed.code, code) << failed.messages;
        EXPECT_EQ(failed.out, "");
        return failed.messages;
    }

    KestrelCore::TemporaryFolder data_;
    KestrelCore::TemporaryFolder home_;
    KestrelCore::TemporaryFolder folder_;
    KestrelCore::EnvironmentSetting dataHome_{"XDG_DATA_HOME", data_.path().c_str()};
    KestrelCore::EnvironmentSetting homeSetting_{"CFFIXED_USER_HOME", home_.path().c_str()};
};

}  // namespace KestrelCLI
