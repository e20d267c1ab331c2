#include "Reclaim/ContentDigest.hpp"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include "KestrelCore/Base/Hashing.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace KestrelCore {

namespace {

/// Read of each end: what a file system gives at once.
constexpr std::int64_t endBytes = 4096;
/// At once of a whole file: it is hashed while the processor still has it at hand.
constexpr std::int64_t pieceBytes = std::int64_t{1} << 18;
/// Zeros are left out of the hash in blocks of this size, counted from the beginning of the file, and told by number.
constexpr std::int64_t blockBytes = std::int64_t{1} << 16;
static_assert(pieceBytes % blockBytes == 0);

ContentDigest digest(const XXH128_hash_t& hash) { return {.high = hash.high64, .low = hash.low64}; }

bool isZeros(const char* bytes, std::size_t size) {
    return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

/// The hash of a content that comes in pieces, each of whole blocks but for the last.
class RunningDigest {
public:
    RunningDigest() { XXH3_128bits_reset(&state_); }

    void addZeroBlocks(std::int64_t count) { zeroBlocks_ += count; }
    void addPiece(std::span<const char> piece) {
        std::size_t begin = 0;  // of what is no zeros and not hashed yet
        for (std::size_t at = 0; at < piece.size(); at += blockBytes) {
            const std::size_t size = std::min<std::size_t>(blockBytes, piece.size() - at);
            if (size < blockBytes || !isZeros(piece.data() + at, size)) {
                endZeros();
                ++blocks_;
                continue;
            }
            update(piece.subspan(begin, at - begin));
            begin = at + size;
            ++zeroBlocks_;
        }
        update(piece.subspan(begin));
    }
    ContentDigest finish() {
        endZeros();
        // Where the zeros stood, apart from the other bytes, which could be made to look like it.
        XXH3_128bits_update(&state_, &zeros_, sizeof zeros_);
        return digest(XXH3_128bits_digest(&state_));
    }

private:
    void update(std::span<const char> bytes) {
        if (!bytes.empty()) XXH3_128bits_update(&state_, bytes.data(), bytes.size());
    }
    void endZeros() {
        if (zeroBlocks_ == 0) return;
        zeros_ = Internal::mixHash(Internal::mixHash(zeros_, static_cast<std::uint64_t>(blocks_)),
                                   static_cast<std::uint64_t>(zeroBlocks_));
        blocks_ += zeroBlocks_;
        zeroBlocks_ = 0;
    }

    XXH3_state_t state_;
    std::int64_t blocks_ = 0;      ///< that are told of
    std::int64_t zeroBlocks_ = 0;  ///< that follow them
    std::uint64_t zeros_ = 1;
};

}  // namespace

ContentDigester::ContentDigester() : buffer_(static_cast<std::size_t>(pieceBytes)) {}

std::int64_t ContentDigester::bytesOfEnds(std::int64_t length) {
    return length <= longestOfOneRead ? length : 2 * endBytes;
}

std::optional<ContentDigest> ContentDigester::ofEnds(const ContentFile& file) {
    const std::int64_t length = file.openedState().bytes;
    const auto bytes = static_cast<std::size_t>(bytesOfEnds(length));
    if (length <= longestOfOneRead) {
        const auto read = file.read(0, std::span{buffer_}.first(bytes));
        if (!read || *read != bytes) return std::nullopt;
    } else {
        file.expect(ReadingPattern::piecemeal);
        const auto begin = file.read(0, std::span{buffer_}.first(endBytes));
        const auto end = file.read(length - endBytes, std::span{buffer_}.subspan(endBytes, endBytes));
        if (!begin || !end || *begin + *end != bytes) return std::nullopt;
    }
    return digest(XXH3_128bits(buffer_.data(), bytes));
}

std::optional<ContentDigest> ContentDigester::ofAll(const ContentFile& file, const CancellationToken& cancellation,
                                                    const std::function<void(std::int64_t bytes)>& onRead) {
    const ContentState& state = file.openedState();
    const bool hasHoles = state.allocatedBytes < state.bytes;
    constexpr std::int64_t aheadBytes = std::int64_t{1} << 22;
    RunningDigest running;
    std::int64_t ahead = 0;
    // A short one is read in one go, and there is nothing ahead.
    const bool isLong = state.bytes > pieceBytes;
    if (isLong) file.expect(ReadingPattern::whole);
    for (std::int64_t offset = 0; offset < state.bytes;) {
        if (cancellation.isCancelled()) return std::nullopt;
        if (hasHoles) {
            const std::int64_t hole = (file.nextData(offset) - offset) / blockBytes;
            running.addZeroBlocks(hole);
            offset += hole * blockBytes;
            if (hole > 0) onRead(hole * blockBytes);
            if (offset >= state.bytes) break;
        }
        if (isLong && !hasHoles && offset >= ahead) {
            // Two stretches on the way at any time keep the disk at work while this one is hashed.
            const std::int64_t begin = ahead == 0 ? 0 : ahead + aheadBytes;
            if (begin < state.bytes) file.readAhead(begin, ahead == 0 ? 2 * aheadBytes : aheadBytes);
            ahead += aheadBytes;
        }
        const auto wanted = static_cast<std::size_t>(std::min(pieceBytes, state.bytes - offset));
        const auto read = file.read(offset, std::span{buffer_}.first(wanted));
        if (!read || *read != wanted) return std::nullopt;
        running.addPiece(std::span{buffer_}.first(wanted));
        offset += static_cast<std::int64_t>(wanted);
        onRead(static_cast<std::int64_t>(wanted));
    }
    return running.finish();
}

}  // namespace KestrelCore
