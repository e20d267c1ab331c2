#include "Platform/POSIX/Walk/StatusAt.hpp"

#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <limits>
#include <sys/stat.h>
#include <sys/syscall.h>

namespace KestrelCore {

TEST(StatusAt, takesSizesUnlessTheClaimIsAbsurd) {
    struct Case {
        std::uint64_t size;
        std::uint64_t blocks;
        int errorNumber;
    };
    constexpr std::uint64_t mostBlocks = std::uint64_t{1} << 41;
    constexpr auto largestSize = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    for (const Case& claim : {Case{0, 0, 0}, Case{5, 8, 0}, Case{largestSize, mostBlocks, 0},
                              Case{0, mostBlocks + 1, EOVERFLOW}, Case{0, std::uint64_t{1} << 55, EOVERFLOW},
                              Case{0, std::uint64_t{0} - 1, EOVERFLOW}, Case{largestSize + 1, 0, EOVERFLOW}}) {
        const TemporaryFolder folder;
        FileStatusResult found;
        const bool isSupervised = runSupervised(
            {SYS_statx}, [&] { found = fileStatus(folder.path()); },
            [&](const SystemCall& call) -> std::optional<int> {
                auto* answer = reinterpret_cast<struct statx*>(call.arguments[4]);
                *answer = {};
                answer->stx_size = claim.size;
                answer->stx_blocks = claim.blocks;
                return 0;
            });
        if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
        EXPECT_EQ(found.errorNumber, claim.errorNumber) << claim.size << ", " << claim.blocks;
        EXPECT_EQ(found.status.has_value(), claim.errorNumber == 0);
        EXPECT_EQ(found.status.value_or(FileStatus{}).allocatedBytes,
                  claim.errorNumber == 0 ? static_cast<std::int64_t>(claim.blocks * 512) : 0);
    }
}

}  // namespace KestrelCore
