#include "Platform/FileExtents.hpp"

#include "Platform/ContentFile.hpp"
#include "Platform/macOS/Contents/Portable/PlacedRuns.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <string_view>
#include <sys/attr.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <unistd.h>
#include <vector>

// Two questions tell what one does elsewhere: where each piece of the content lies, and how much of the file no clone
// and no snapshot holds as well. Which of its pieces those are, the system does not tell.

namespace KestrelCore {

namespace {

static_assert(privateSizeAttribute == ATTR_CMNEXT_PRIVATESIZE);
static_assert(privateSizeAnswerBytes == 4 + sizeof(attribute_set_t) + sizeof(off_t));

/// A file can be torn into more pieces than anybody wants to hear of.
constexpr std::size_t mostRuns = std::size_t{1} << 20;

/// The piece at `offset`, of at most `bytes` bytes; empty where the file system does not tell.
std::optional<PlacedRun> runAt(int descriptor, std::int64_t offset, std::int64_t bytes) {
    log2phys question{};
    question.l2p_contigbytes = bytes;
    question.l2p_devoffset = offset;
    if (::fcntl(descriptor, F_LOG2PHYS_EXT, &question) != 0) return std::nullopt;
    const std::int64_t length = std::min<std::int64_t>(question.l2p_contigbytes, bytes);
    if (length <= 0) return std::nullopt;
    return PlacedRun{.offset = offset, .place = question.l2p_devoffset, .bytes = length};
}

std::optional<std::int64_t> privateSize(int descriptor) {
    attrlist wanted{};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.commonattr = ATTR_CMN_RETURNED_ATTRS;
    wanted.forkattr = ATTR_CMNEXT_PRIVATESIZE;
    std::array<char, privateSizeAnswerBytes> answer{};
    // The extended attributes take the place of those of forks, which nobody asks for.
    constexpr unsigned options = FSOPT_ATTR_CMN_EXTENDED | FSOPT_REPORT_FULLSIZE;
    if (::fgetattrlist(descriptor, &wanted, answer.data(), answer.size(), options) != 0) return std::nullopt;
    return privateSizeOf({answer.data(), answer.size()});
}

}  // namespace

std::optional<FileExtents> fileExtents(const ContentFile& file) {
    // What waits in memory has no place yet.
    (void)::fsync(file.descriptor());
    const auto own = privateSize(file.descriptor());
    const auto state = file.state();
    if (!own || !state) return std::nullopt;
    std::vector<PlacedRun> runs;
    for (std::int64_t offset = 0; offset < state->bytes;) {
        offset = file.nextData(offset);
        if (offset >= state->bytes) break;
        const auto run = runAt(file.descriptor(), offset, std::min(file.nextHole(offset), state->bytes) - offset);
        if (!run || runs.size() == mostRuns) return std::nullopt;
        runs.push_back(*run);
        offset += run->bytes;
    }
    return extentsOf(runs, state->allocatedBytes, *own);
}

std::optional<std::uint64_t> firstPlaceOnDisk(const ContentFile& file) {
    const auto run = runAt(file.descriptor(), 0, 1);
    if (!run || run->place < 0) return std::nullopt;
    return static_cast<std::uint64_t>(run->place);
}

bool mayShareBlocks(const ContentFile& file) {
    struct statfs volume {};
    return ::fstatfs(file.descriptor(), &volume) == 0 &&
           std::string_view{static_cast<const char*>(volume.f_fstypename)} == "apfs";
}

}  // namespace KestrelCore
