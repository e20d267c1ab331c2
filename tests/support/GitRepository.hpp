#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace KestrelCore::testing {

/// Runs Git itself in a folder, as somebody without any configuration; what it does not do fails the test.
inline void git(const std::string& folder, const std::string& arguments) {
    const std::string command = "cd '" + folder +
                                "' && env -u GIT_DIR -u GIT_INDEX_FILE -u GIT_WORK_TREE GIT_CONFIG_GLOBAL=/dev/null "
                                "GIT_CONFIG_NOSYSTEM=1 git -c user.name=A -c user.email=a@example.org -c "
                                "protocol.file.allow=always -c init.defaultBranch=main " +
                                arguments + " >/dev/null 2>&1";
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
}

}  // namespace KestrelCore::testing
