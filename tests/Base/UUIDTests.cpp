#include "KestrelCore/Base/UUID.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "support/SupervisedCalls.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <set>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace KestrelCore {

TEST(UUID, writesThirtySixUpperCaseCharactersAndReadsEitherCase) {
    const auto id = UUID::parse("3f2504e0-4F89-11D3-9A0C-0305E82C3301");
    ASSERT_TRUE(id.has_value());
    EXPECT_EQ(id->uuidString(), "3F2504E0-4F89-11D3-9A0C-0305E82C3301");
}

TEST(UUID, refusesEverythingButTheCanonicalForm) {
    for (const char* text : {"", "3F2504E04F8911D39A0C0305E82C3301", "3F2504E0-4F89-11D3-9A0C-0305E82C330",
                             "3F2504E0-4F89-11D3-9A0C-0305E82C33011", "3F2504E0-4F89-11D3-9A0C-0305E82C330G",
                             "{3F2504E0-4F89-11D3-9A0C-0305E82C330}", "3F2504E04-F89-11D3-9A0C-0305E82C3301"}) {
        EXPECT_FALSE(UUID::parse(text).has_value()) << text;
    }
}

TEST(UUID, randomOnesDifferAndAreVersionFour) {
    std::set<UUID> seen;
    for (int i = 0; i < 10'000; ++i) {
        const UUID id = UUID::random();
        EXPECT_EQ(id.bytes[6] >> 4, 4);
        EXPECT_EQ(id.bytes[8] >> 6, 2);
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 10'000U);
}

TEST(UUID, isNoneThatAForkedChildDrawsToo) {
    (void)UUID::random();  // draws many ahead
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const UUID id = UUID::random();
        _exit(write(ends[1], id.bytes.data(), id.bytes.size()) == static_cast<ssize_t>(id.bytes.size()) ? 0 : 1);
    }
    UUID ofChild;
    ASSERT_EQ(read(ends[0], ofChild.bytes.data(), ofChild.bytes.size()), static_cast<ssize_t>(ofChild.bytes.size()));
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    close(ends[0]);
    close(ends[1]);
    EXPECT_NE(UUID::random(), ofChild);
}

TEST(UUID, failsWithoutRandomNumbersAndWorksAgainAfterwards) {
    std::optional<int> error;
    bool isDrawnAfterwards = false;
    std::atomic<bool> fails{true};  // the kernel orders the two threads, which a thread sanitizer does not see
    const bool isSupervised = runSupervised(
        {SYS_getrandom},
        [&] {
            try {
                (void)UUID::random();
            } catch (const PlatformError& failure) {
                error = failure.code();
            }
            fails = false;
            isDrawnAfterwards = UUID::random() != UUID{};
        },
        [&](const SystemCall&) { return fails ? std::optional{EIO} : std::nullopt; });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_EQ(error, EIO);
    EXPECT_TRUE(isDrawnAfterwards);
}

}  // namespace KestrelCore
