#include "Platform/POSIX/DescriptorContents.hpp"

#include "Platform/POSIX/FileDescriptor.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <fcntl.h>
#include <sys/syscall.h>

namespace KestrelCore {

TEST(DescriptorContents, areReadToTheEndUpToTheirLimit) {
    const TemporaryFolder folder;
    const std::string content(40'000, 'x');
    const std::string path = folder.makeFile("file", content);
    EXPECT_EQ(contentsOfDescriptor(FileDescriptor{open(path.c_str(), O_RDONLY | O_CLOEXEC)}.get(), 40'000), content);
    EXPECT_EQ(contentsOfDescriptor(FileDescriptor{open(path.c_str(), O_RDONLY | O_CLOEXEC)}.get(), 39'999),
              std::nullopt);
}

TEST(DescriptorContents, areGivenUpWhenReadingIsInterruptedForEver) {
    const TemporaryFolder folder;
    const FileDescriptor file{open(folder.makeFile("file", "text").c_str(), O_RDONLY | O_CLOEXEC)};
    std::optional<std::string> content = "not read";
    const auto count = interruptions({SYS_read}, [&] { content = contentsOfDescriptor(file.get(), 100); });
    if (!count) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(content, std::nullopt);
    EXPECT_LT(*count, 1'000);
}

TEST(DescriptorContents, writingIsGivenUpWhenItIsInterruptedForEverOrWritesNothing) {
    const TemporaryFolder folder;
    const FileDescriptor file{open(folder.makeFile("file").c_str(), O_WRONLY | O_CLOEXEC)};
    int error = 0;
    const auto count = interruptions({SYS_write}, [&] { error = writeAll(file.get(), "text"); });
    if (!count) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(error, EINTR);
    EXPECT_LT(*count, 1'000);

    int calls = 0;
    EXPECT_TRUE(runSupervised(
        {SYS_write}, [&] { error = writeAll(file.get(), "text"); },
        [&calls](const SystemCall&) { return ++calls < 10'000 ? 0 : ENOSPC; }));
    EXPECT_EQ(error, EIO);
    EXPECT_EQ(calls, 1);
}

}  // namespace KestrelCore
