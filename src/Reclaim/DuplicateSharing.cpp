#include "KestrelCore/Reclaim/DuplicateSharing.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/ContentFile.hpp"
#include "Platform/ExtentSharing.hpp"
#include "Platform/FileExtents.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

DuplicateSharing::Result failed(const Text& sentence) {
    return {.freedBytes = 0, .failure = sentence, .isUnsupported = false};
}

DuplicateSharing::Result unsupported() {
    return {.freedBytes = 0,
            .failure = "Its file system can't let these files share their blocks; btrfs and XFS can.",
            .isUnsupported = true};
}

/// Opens one of the two; empty, with the failure in `result`, when it can't be, or is another file by now.
std::optional<ContentFile> openedFile(const DuplicateFile& file, DuplicateSharing::Result& result) {
    ContentFile::Opening opening = ContentFile::open(file.path.string());
    if (!opening.file) {
        result = failed(Text::concatenating(
            {"“", file.path.view(), "” can't be opened: ", systemErrorText(opening.errorNumber).view(), "."}));
        return std::nullopt;
    }
    if (opening.file->openedState().identity != file.identity) {
        result = failed(Text::concatenating({"“", file.path.view(), "” changed since it was found to be equal."}));
        return std::nullopt;
    }
    return std::move(opening.file);
}

}  // namespace

DuplicateSharing::Result DuplicateSharing::share(const DuplicateFile& kept, const DuplicateFile& other,
                                                 const CancellationToken& cancellation,
                                                 const std::function<void(std::int64_t bytes)>& onDone) {
    // The most that all file systems take at once; small enough for Ctrl-C.
    constexpr std::int64_t pieceBytes = std::int64_t{1} << 24;
    if (kept.identity == other.identity) return failed("They are two names of one file.");
    Result result;
    const auto source = openedFile(kept, result);
    if (!source) return result;
    const auto destination = openedFile(other, result);
    if (!destination) return result;
    const std::int64_t length = source->openedState().bytes;
    if (length != destination->openedState().bytes) return failed("They are not equal any more.");
    const auto before = fileExtents(*destination);
    if (!before || !mayShareBlocks(*destination)) return unsupported();
    // It stands in no blocks of its own: those of the kept file already, as a rule.
    if (before->ownBytes == 0) return result;

    for (std::int64_t offset = 0; offset < length;) {
        if (cancellation.isCancelled()) {
            result.failure = "Interrupted.";
            break;
        }
        // Where both have a hole there is nothing to share.
        const std::int64_t data = std::min(source->nextData(offset), destination->nextData(offset));
        const std::int64_t begin = data / pieceBytes * pieceBytes;
        if (begin > offset) {
            if (onDone) onDone(begin - offset);
            offset = begin;
            if (data >= length) break;
        }
        const SharingResult piece = shareExtents(*source, *destination, offset, std::min(pieceBytes, length - offset));
        if (piece.outcome == SharingOutcome::shared) {
            offset += piece.bytes;
            if (onDone) onDone(piece.bytes);
            continue;
        }
        // The rest of a block at the end of a file may be left apart.
        if (offset > 0 && length - offset < 65536 && piece.outcome == SharingOutcome::unsupported) break;
        if (piece.outcome == SharingOutcome::differs) {
            result.failure = "They are not equal any more.";
        } else if (piece.outcome == SharingOutcome::unsupported) {
            result = unsupported();
        } else {
            result.failure =
                Text::concatenating({"The system refused: ", systemErrorText(piece.errorNumber).view(), "."});
        }
        break;
    }
    if (const auto after = fileExtents(*destination))
        result.freedBytes = std::max<std::int64_t>(0, before->ownBytes - after->ownBytes);
    return result;
}

}  // namespace KestrelCore
