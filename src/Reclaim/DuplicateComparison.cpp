#include "KestrelCore/Reclaim/DuplicateComparison.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/ContentFile.hpp"
#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace KestrelCore {

namespace {

Text about(std::string_view before, const Text& path, std::string_view after) {
    return Text::concatenating({before, "“", path.view(), "”", after});
}

Text keptIsGone(const DuplicateFile& kept) {
    return about("It stays: ", kept.path, ", which was to be kept, is no longer there or has changed.");
}

Text unreadable(const Text& path, int errorNumber) {
    return Text::concatenating({about("It stays: ", path, " can't be read to compare them: ").view(),
                                systemErrorText(errorNumber).view(), "."});
}

constexpr const char* changedSentence = "It stays: it changed since it was found to be equal.";
constexpr const char* interruptedSentence = "It stays: the comparison was interrupted.";

/// What came of comparing two open files; `failed` has the errno value, or 0 where less could be read.
struct Verdict {
    enum class Kind { equal, different, cancelled, keptFailed, otherFailed } kind;
    int errorNumber = 0;
};

Verdict compare(const ContentFile& kept, const ContentFile& other, const CancellationToken& cancellation,
                const std::function<void(std::int64_t bytes)>& onRead) {
    constexpr std::int64_t pieceBytes = std::int64_t{1} << 18;
    const std::int64_t length = kept.openedState().bytes;
    const bool haveHoles = kept.openedState().allocatedBytes < length && other.openedState().allocatedBytes < length;
    std::vector<char> keptBytes(static_cast<std::size_t>(pieceBytes));
    std::vector<char> otherBytes(static_cast<std::size_t>(pieceBytes));
    kept.expect(ReadingPattern::whole);
    other.expect(ReadingPattern::whole);
    for (std::int64_t offset = 0; offset < length;) {
        if (cancellation.isCancelled()) return {Verdict::Kind::cancelled};
        std::int64_t step = 0;
        // Where both have a hole there is nothing to compare.
        if (haveHoles) step = std::min(kept.nextData(offset), other.nextData(offset)) - offset;
        if (step == 0) {
            step = std::min(pieceBytes, length - offset);
            const auto size = static_cast<std::size_t>(step);
            errno = 0;
            const auto readKept = kept.read(offset, std::span{keptBytes}.first(size));
            if (!readKept || *readKept != size) return {Verdict::Kind::keptFailed, errno};
            errno = 0;
            const auto readOther = other.read(offset, std::span{otherBytes}.first(size));
            if (!readOther || *readOther != size) return {Verdict::Kind::otherFailed, errno};
            if (std::memcmp(keptBytes.data(), otherBytes.data(), size) != 0) return {Verdict::Kind::different};
        }
        offset += step;
        if (onRead) onRead(step);
    }
    return {Verdict::Kind::equal};
}

bool isUnchanged(const ContentFile& file) {
    const auto now = file.state();
    return now && now->isSameContent(file.openedState());
}

/// Whether the path still leads to the file.
bool leadsTo(const DuplicateFile& file) {
    const auto status = fileStatus(file.path.string()).status;
    return status && FileIdentity{.device = status->device, .inode = status->inode} == file.identity;
}

bool isGone(int errorNumber) {
    return errorNumber == ENOENT || errorNumber == ENOTDIR || errorNumber == ELOOP || errorNumber == EINVAL;
}

}  // namespace

std::optional<Text> DuplicateComparison::objection(const DuplicateFile& kept, const DuplicateFile& other,
                                                   const CancellationToken& cancellation,
                                                   const std::function<void(std::int64_t bytes)>& onRead) {
    if (kept.identity == other.identity) return about("It stays: it is another name of ", kept.path, ".");
    const ContentFile::Opening keptFile = ContentFile::open(kept.path.string());
    if (!keptFile.file)
        return isGone(keptFile.errorNumber) ? keptIsGone(kept) : unreadable(kept.path, keptFile.errorNumber);
    const ContentFile::Opening otherFile = ContentFile::open(other.path.string());
    if (!otherFile.file)
        return isGone(otherFile.errorNumber) ? Text{changedSentence} : unreadable(other.path, otherFile.errorNumber);
    if (keptFile.file->openedState().identity != kept.identity) return keptIsGone(kept);
    if (otherFile.file->openedState().identity != other.identity) return changedSentence;
    const Text different = about("It stays: its content is not that of ", kept.path, ".");
    if (keptFile.file->openedState().bytes != otherFile.file->openedState().bytes) return different;

    const Verdict verdict = compare(*keptFile.file, *otherFile.file, cancellation, onRead);
    switch (verdict.kind) {
    case Verdict::Kind::equal: break;
    case Verdict::Kind::different: return different;
    case Verdict::Kind::cancelled: return interruptedSentence;
    case Verdict::Kind::keptFailed:
        return verdict.errorNumber == 0 ? keptIsGone(kept) : unreadable(kept.path, verdict.errorNumber);
    case Verdict::Kind::otherFailed:
        return verdict.errorNumber == 0 ? Text{changedSentence} : unreadable(other.path, verdict.errorNumber);
    }
    if (!isUnchanged(*otherFile.file)) return changedSentence;
    // An open file outlives its name: what is kept must be there for its owner, too.
    if (!isUnchanged(*keptFile.file) || !leadsTo(kept)) return keptIsGone(kept);
    return std::nullopt;
}

}  // namespace KestrelCore
