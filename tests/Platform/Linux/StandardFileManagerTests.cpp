#include "KestrelCore/Platform/FileManager.hpp"

#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <dirent.h>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>
#include <utility>

namespace KestrelCore {
namespace {

/// The error of listing a folder while each of its pieces is answered by `decide`; empty when there is none.
std::optional<PlatformError> errorOfListing(const Text& path,
                                            const std::function<std::optional<int>(const SystemCall&)>& decide,
                                            bool& isSupervised) {
    std::optional<PlatformError> error;
    isSupervised = runSupervised(
        {SYS_getdents64},
        [&] {
            try {
                (void)FileManager::standard()->contentsOfDirectory(path);
            } catch (const PlatformError& thrown) {
                error = thrown;
            }
        },
        decide);
    return error;
}

/// Writes to an address of this process as the system does: no sanitizer takes it for a race with the thread that waits
/// for it in its call.
bool putInMemory(std::uint64_t address, std::string_view bytes) {
    iovec from{.iov_base = const_cast<char*>(bytes.data()), .iov_len = bytes.size()};
    iovec to{.iov_base = reinterpret_cast<void*>(address), .iov_len = bytes.size()};
    return ::syscall(SYS_process_vm_writev, getpid(), &from, 1, &to, 1, 0) == static_cast<long>(bytes.size());
}

}  // namespace

TEST(StandardFileManager, aListingWithoutEndIsAnError) {
    const TemporaryFolder folder;
    for (int i = 0; i < 2'000; ++i) folder.makeFile(std::to_string(i), "");
    bool isSupervised = false;
    // The folder starts anew at each piece.
    const auto error = errorOfListing(
        folder.path(),
        [](const SystemCall& call) -> std::optional<int> {
            lseek(call.descriptor(0), 0, SEEK_SET);
            return std::nullopt;
        },
        isSupervised);
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    ASSERT_TRUE(error);
    ASSERT_NE(error->underlying(), nullptr);
    EXPECT_EQ(error->underlying()->code(), EOVERFLOW);
}

TEST(StandardFileManager, aListingThatFailsHalfWayIsAnError) {
    const TemporaryFolder folder;
    folder.makeFile("a", "");
    bool isSupervised = false;
    int calls = 0;
    const auto error = errorOfListing(
        folder.path(),
        [&calls](const SystemCall&) -> std::optional<int> {
            if (++calls == 1) return std::nullopt;
            return EIO;
        },
        isSupervised);
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    ASSERT_TRUE(error);
    EXPECT_EQ(error->underlying()->code(), EIO);
}

TEST(StandardFileManager, looksAtWhatTheFileSystemDoesNotTell) {
    const TemporaryFolder folder;
    folder.makeFile("file", "");
    folder.makeFolder("folder");
    std::vector<URL> found;
    bool isLast = false;
    const bool isSupervised = runSupervised(
        {SYS_getdents64},
        [&] { found = FileManager::standard()->contentsOfDirectory(URL::fromPath(folder.path()), false); },
        [&](const SystemCall& call) -> std::optional<int> {
            // Made here, where the answer can be changed; then what the program gets is a second piece without types.
            if (std::exchange(isLast, true)) return std::nullopt;
            alignas(dirent64) std::array<char, 4096> buffer{};
            const long got = ::syscall(SYS_getdents64, call.descriptor(0), buffer.data(), buffer.size());
            for (long at = 0; at < got;) {
                auto* entry = reinterpret_cast<dirent64*>(buffer.data() + at);
                entry->d_type = DT_UNKNOWN;
                at += entry->d_reclen;
            }
            if (got < 0 || !putInMemory(call.arguments[1], {buffer.data(), static_cast<std::size_t>(got)})) return EIO;
            return -static_cast<int>(got);
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    ASSERT_EQ(found.size(), 2U);
    for (const URL& url : found) EXPECT_EQ(url.hasDirectoryPath(), url.lastPathComponent() == "folder");
}

}  // namespace KestrelCore
