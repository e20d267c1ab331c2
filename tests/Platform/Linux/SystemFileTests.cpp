#include "Platform/Linux/SystemFile.hpp"

#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/syscall.h>

namespace KestrelCore {

TEST(SystemFile, isGivenUpWhenItsCallsAreInterruptedForEver) {
    const TemporaryFolder folder;
    const std::string path = folder.makeFile("file", "text");
    for (const long call : {SYS_read, SYS_openat}) {
        std::string buffer;
        std::optional<std::string_view> whole = "not read";
        const auto count = interruptions({call}, [&] { whole = SystemFile::whole(AT_FDCWD, path.c_str(), buffer); });
        if (!count) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_EQ(whole, std::nullopt);
        EXPECT_GT(*count, 1);
        EXPECT_LT(*count, 1'000);
    }
    std::string buffer;
    EXPECT_EQ(SystemFile::whole(AT_FDCWD, path.c_str(), buffer), "text");
    EXPECT_EQ(SystemFile::attribute(path), "text");
    EXPECT_EQ(SystemFile::contents(path), "text");
}

}  // namespace KestrelCore
