#include "Reclaim/DuplicateSearch.hpp"

#include "Base/Parallel.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/ContentFile.hpp"
#include "Platform/DiskKind.hpp"
#include "Platform/FileExtents.hpp"
#include "Reclaim/DuplicateGrouping.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <span>
#include <thread>
#include <tuple>
#include <utility>

// Three passes, each over what the one before has left:
//
//     ends       beginning and end of each file that has another one of its length; short files whole
//     contents   all of those whose ends are equal
//     extents    of equal files, where they stand on the disk, where the file system lets files share that
//
// A pass has a queue for each disk, in an order that the disk likes, and some threads for each queue.

namespace KestrelCore {

namespace {

/// For a disk that can do several things at once. More than there are processors: mostly they wait.
constexpr unsigned threadsOfSolidDisk = 4;
/// However many disks a scan spans.
constexpr std::size_t mostThreads = 32;
/// Files from this length on are begun with, the longest first, so that no thread is left alone with one at the end.
constexpr std::int64_t longFile = 8'000'000;

bool isAsScanned(const ContentState& state, const DuplicateCandidate& candidate, const RecordStorage::Row& row) {
    const Date modified = Date::fromFileTime(state.modifiedSeconds, state.modifiedNanoseconds);
    return state.identity == candidate.identity && state.bytes == candidate.bytes &&
           (row.hasModified == 0 || modified.secondsSinceReferenceDate == row.modifiedAt);
}

}  // namespace

struct DuplicateSearch::Queue {
    std::uint64_t device = 0;
    DiskKind kind = DiskKind::unknown;
    unsigned threads = 1;
    std::vector<std::uint32_t> files{};
    std::atomic<std::size_t> next = 0;

    Queue() = default;
    Queue(Queue&& other) noexcept
        : device{other.device}, kind{other.kind}, threads{other.threads}, files{std::move(other.files)} {}
};

DuplicateSearch::DuplicateSearch(const RecordStorage& storage, const DuplicateOptions& options,
                                 const CancellationToken& cancellation, Sink onProgress, DigestChange digestChange)
    : storage_{storage}, options_{options}, cancellation_{cancellation}, onProgress_{std::move(onProgress)},
      digestChange_{digestChange} {}

std::optional<DuplicateReport> DuplicateSearch::run(const Text& folder) {
    auto candidates =
        DuplicateCandidates::of(storage_, folder, std::max<std::int64_t>(options_.smallestBytes, 1), cancellation_);
    if (!candidates) return std::nullopt;
    candidates_ = std::move(*candidates);
    readings_.resize(candidates_.files.size());
    std::vector<std::uint32_t> files(candidates_.files.size());
    for (std::uint32_t i = 0; i < files.size(); ++i) files[i] = i;

    read(files, Pass::ends);
    files = withEquals(std::move(files));
    std::vector<std::uint32_t> unfinished;
    for (const std::uint32_t file : files) {
        if (!readings_[file].isWhole) unfinished.push_back(file);
    }
    for (const std::uint32_t file : unfinished) bytesToRead_ += candidates_.files[file].bytes;
    read(std::move(unfinished), Pass::contents);
    files = withEquals(std::move(files));
    std::vector<std::uint32_t> sharing;
    for (const std::uint32_t file : files) {
        readings_[file].ownBytes = readings_[file].allocatedBytes;
        if (readings_[file].mayShareBlocks) sharing.push_back(file);
    }
    read(std::move(sharing), Pass::extents);
    if (cancellation_.isCancelled()) return std::nullopt;
    tell({}, true);

    for (const DuplicateReading& reading : readings_) {
        report_.changed += reading.state == DuplicateReading::State::changed ? 1 : 0;
        report_.unreadable += reading.state == DuplicateReading::State::unreadable ? 1 : 0;
    }
    report_.files = candidates_.looked;
    report_.linkNames = candidates_.linkNames;
    report_.bytesRead = bytesRead_;
    DuplicateGrouping grouping{storage_, options_, candidates_, readings_};
    for (std::size_t begin = 0, end = 0; begin < files.size(); begin = end) {
        while (end < files.size() && areEqual(files[begin], files[end])) ++end;
        report_.groups.push_back(grouping.group(std::span{files}.subspan(begin, end - begin)));
        report_.reclaimableBytes += report_.groups.back().reclaimableBytes;
        report_.shareableBytes += report_.groups.back().shareableBytes;
    }
    std::ranges::sort(report_.groups, [](const DuplicateGroup& a, const DuplicateGroup& b) {
        if (a.reclaimableBytes != b.reclaimableBytes) return a.reclaimableBytes > b.reclaimableBytes;
        return a.kept().path.view() < b.kept().path.view();
    });
    return std::move(report_);
}

std::vector<DuplicateSearch::Queue> DuplicateSearch::queues(std::vector<std::uint32_t> files, Pass pass) {
    std::ranges::stable_sort(files, {}, [&](std::uint32_t file) { return candidates_.files[file].identity.device; });
    std::vector<Queue> queues;
    for (const std::uint32_t file : files) {
        const std::uint64_t device = candidates_.files[file].identity.device;
        if (queues.empty() || queues.back().device != device) {
            queues.emplace_back();
            queues.back().device = device;
            queues.back().kind = diskKind(device);
        }
        queues.back().files.push_back(file);
    }
    for (Queue& queue : queues) {
        const unsigned usual = queue.kind == DiskKind::rotating ? 1 : threadsOfSolidDisk;
        queue.threads = std::max(1U, options_.threads.value_or(usual));
        const bool isRotating = queue.kind == DiskKind::rotating;
        std::ranges::sort(queue.files, {}, [&](std::uint32_t file) {
            const DuplicateCandidate& candidate = candidates_.files[file];
            const bool isBegunWith = pass == Pass::contents && !isRotating && candidate.bytes >= longFile;
            // Before a file was opened its number is the best guess of where it lies.
            return std::tuple{isBegunWith ? -candidate.bytes : 0, readings_[file].place, candidate.identity.inode};
        });
    }
    return queues;
}

void DuplicateSearch::read(std::vector<std::uint32_t> files, Pass pass) {
    if (files.empty() || cancellation_.isCancelled()) return;
    pass_ = pass;
    filesInPass_ = static_cast<std::int64_t>(files.size());
    filesDone_ = 0;
    std::vector<Queue> queues = this->queues(std::move(files), pass);
    std::vector<Queue*> ofThread;
    for (Queue& queue : queues) {
        for (unsigned i = 0; i < queue.threads && i < queue.files.size(); ++i) ofThread.push_back(&queue);
    }
    // Of very many disks some wait until others are done; a thread takes up the next queue behind its own.
    const std::size_t threads = std::min(ofThread.size(), mostThreads);
    onThreads(static_cast<unsigned>(threads), [&](unsigned thread) {
        ContentDigester digester;
        std::string path;
        for (std::size_t i = thread; i < ofThread.size(); i += threads) {
            Queue& queue = *ofThread[i];
            while (!cancellation_.isCancelled()) {
                const std::size_t next = queue.next.fetch_add(1, std::memory_order_relaxed);
                if (next >= queue.files.size()) break;
                readOne(queue.files[next], pass, queue, digester, path);
                filesDone_.fetch_add(1, std::memory_order_relaxed);
                if (next % 64 == 0) tell(path);
            }
        }
    });
}

void DuplicateSearch::readOne(std::uint32_t file, Pass pass, const Queue& queue, ContentDigester& digester,
                              std::string& path) {
    const DuplicateCandidate& candidate = candidates_.files[file];
    DuplicateReading& reading = readings_[file];
    // Some of the names may be gone by now, and the file still be there.
    ContentFile::Opening opening;
    bool isChanged = false;
    for (const std::uint32_t name : candidates_.namesOf(candidate)) {
        storage_.assignPath(storage_.row(name), path);
        opening = ContentFile::open(path);
        isChanged = opening.file && !isAsScanned(opening.file->openedState(), candidate, storage_.row(name));
        if (opening.file && !isChanged) break;
    }
    const bool isGone = !opening.file && (opening.errorNumber == ENOENT || opening.errorNumber == EINVAL ||
                                          opening.errorNumber == ELOOP || opening.errorNumber == ENOTDIR);
    // The text of a name that is not UTF-8 has this in its place, and is the name of nothing.
    if (!isChanged && isGone && path.find("\uFFFD") != std::string::npos) {
        noteIssue(file, path, "Its name, or that of a folder above it, is not UTF-8, so it can't be read again by it.");
        return;
    }
    if (isChanged || isGone) {
        reading.state = DuplicateReading::State::changed;
        return;
    }
    if (!opening.file) {
        noteIssue(file, path, systemErrorText(opening.errorNumber));
        return;
    }
    const ContentFile& opened = *opening.file;
    if (pass == Pass::extents) {
        if (const auto extents = fileExtents(opened); extents && extents->sharedBytes > 0)
            reading.ownBytes = std::min(reading.allocatedBytes, extents->ownBytes);
        return;
    }
    errno = 0;
    std::optional<ContentDigest> digest;
    if (pass == Pass::ends) {
        digest = digester.ofEnds(opened);
        reading.isWhole = candidate.bytes <= ContentDigester::longestOfOneRead;
        bytesRead_.fetch_add(ContentDigester::bytesOfEnds(candidate.bytes), std::memory_order_relaxed);
        if (queue.kind == DiskKind::rotating && !reading.isWhole) reading.place = firstPlaceOnDisk(opened).value_or(0);
    } else {
        digest = digester.ofAll(opened, cancellation_, [&](std::int64_t bytes) {
            bytesRead_.fetch_add(bytes, std::memory_order_relaxed);
            contentBytesRead_.fetch_add(bytes, std::memory_order_relaxed);
            tell(path);
        });
        reading.isWhole = true;
    }
    if (!digest) {
        if (errno != 0 && !cancellation_.isCancelled()) {
            noteIssue(file, path, systemErrorText(errno));
        } else {
            reading.state = DuplicateReading::State::changed;
        }
        return;
    }
    // What was read is the content of one moment only if nobody wrote meanwhile.
    const auto after = opened.state();
    if (!after || !after->isSameContent(opened.openedState())) {
        reading.state = DuplicateReading::State::changed;
        return;
    }
    reading.state = DuplicateReading::State::read;
    reading.digest = digestChange_ == nullptr ? *digest : digestChange_(*digest);
    reading.links = after->links;
    reading.allocatedBytes = after->allocatedBytes;
    if (reading.isWhole) reading.mayShareBlocks = mayShareBlocks(opened);
}

bool DuplicateSearch::areEqual(std::uint32_t a, std::uint32_t b) const {
    return candidates_.files[a].bytes == candidates_.files[b].bytes && readings_[a].digest == readings_[b].digest;
}

std::vector<std::uint32_t> DuplicateSearch::withEquals(std::vector<std::uint32_t> files) const {
    std::erase_if(files, [&](std::uint32_t file) { return readings_[file].state != DuplicateReading::State::read; });
    std::ranges::sort(files, {}, [&](std::uint32_t file) {
        return std::tuple{-candidates_.files[file].bytes, readings_[file].digest, file};
    });
    std::vector<std::uint32_t> equal;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const bool isLikeBefore = i > 0 && areEqual(files[i - 1], files[i]);
        const bool isLikeNext = i + 1 < files.size() && areEqual(files[i], files[i + 1]);
        if (isLikeBefore || isLikeNext) equal.push_back(files[i]);
    }
    return equal;
}

void DuplicateSearch::noteIssue(std::uint32_t file, const std::string& path, const Text& message) {
    readings_[file].state = DuplicateReading::State::unreadable;
    const std::lock_guard guard{mutex_};
    if (report_.issues.size() < DuplicateReport::mostIssues)
        report_.issues.push_back({.path = Text{path}, .message = message});
}

void DuplicateSearch::tell(const std::string& path, bool isForced) {
    constexpr auto shortestPause = std::chrono::milliseconds{50};
    const std::unique_lock guard{mutex_, std::try_to_lock};
    if (!guard) return;
    const auto now = std::chrono::steady_clock::now();
    if (!isForced && now - lastTold_ < shortestPause) return;
    lastTold_ = now;
    onProgress_({.filesDone = filesDone_,
                 .files = filesInPass_,
                 .bytesRead = contentBytesRead_,
                 .bytesToRead = bytesToRead_,
                 .readsWhole = pass_ != Pass::ends,
                 .currentPath = Text{path}});
}

}  // namespace KestrelCore
