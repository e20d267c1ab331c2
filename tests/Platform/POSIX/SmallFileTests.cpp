#include "Platform/SmallFile.hpp"

#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KestrelCore {

TEST(SmallFile, isReadWholeOrNotAtAll) {
    const TemporaryFolder folder;
    const std::string path = folder.makeFile("file", "text");
    EXPECT_EQ(readSmallFile(Text{path}, 4), "text");
    EXPECT_EQ(readSmallFile(Text{path}, 3), std::nullopt);
    EXPECT_EQ(readSmallFile(Text{folder.path()}, 100), std::nullopt);
    EXPECT_EQ(readSmallFile(Text{folder / "missing"}, 100), std::nullopt);
    ASSERT_EQ(symlink("file", (folder / "link").c_str()), 0);
    EXPECT_EQ(readSmallFile(Text{folder / "link"}, 100), std::nullopt);
    EXPECT_EQ(readSmallFile(Text{folder / "link"}, 100, FinalLink::followed), "text");
    ASSERT_EQ(mkfifo((folder / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(readSmallFile(Text{folder / "fifo"}, 100), std::nullopt);
}

TEST(SmallFile, isGivenUpWhenItsCallsAreInterruptedForEver) {
    const TemporaryFolder folder;
    const Text path{folder.makeFile("file", "text")};
    for (const long call : {SYS_read, SYS_openat}) {
        std::optional<std::string> content = "not read";
        const auto count = interruptions({call}, [&] { content = readSmallFile(path, 100); });
        if (!count) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_EQ(content, std::nullopt);
        EXPECT_GT(*count, 1);
        EXPECT_LT(*count, 1'000);
    }
}

}  // namespace KestrelCore
