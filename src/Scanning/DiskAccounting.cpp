#include "Scanning/DiskAccounting.hpp"

#include "KestrelCore/Base/EventStream.hpp"

#include <algorithm>
#include <limits>
#include <system_error>
#include <utility>
#include <variant>

// A file system behind a network may never answer how full it is, and nobody can be made to wait for that. So the
// others are asked on a thread of their own, in order, and what has not answered in time stays unknown: its thread is
// left behind, and another one asks those that come after it. After a few of that kind nobody is asked any more.

namespace KestrelCore {

namespace {

using Space = std::optional<FileSystemSpace>;
using Answers = EventStream<Space>;

Answers ask(std::vector<std::string> paths, const DiskAccountSources& sources) {
    return Answers::start([paths = std::move(paths), space = sources.space](const Answers::Continuation& answers) {
        for (const std::string& path : paths) {
            if (answers.cancellation().isCancelled()) return;
            answers.yield(space(path));
        }
    });
}

/// How full each is, as far as that is to be had.
std::vector<Space> spacesOf(const std::vector<FileSystemMount>& mounts, const DiskAccountSources& sources) {
    constexpr std::size_t mostSilent = 4;
    std::vector<std::string> paths;
    for (const FileSystemMount& mount : mounts) paths.push_back(mount.path);
    std::vector<Space> spaces;
    try {
        for (std::size_t silent = 0; spaces.size() < paths.size() && silent < mostSilent; ++silent) {
            Answers answers = ask({paths.begin() + std::ssize(spaces), paths.end()}, sources);
            while (spaces.size() < paths.size()) {
                auto answer = answers.next(sources.patience);
                auto* space = std::get_if<Space>(&answer);
                spaces.push_back(space == nullptr ? std::nullopt : *space);
                if (space == nullptr) break;
            }
        }
    } catch (const std::system_error&) {
        // No thread is to be had; then the others are only named.
    }
    spaces.resize(paths.size());
    return spaces;
}

std::vector<DiskAccount::OtherFileSystem> othersOf(const FileSystemLayout& layout, const DiskAccountSources& sources) {
    std::vector<DiskAccount::OtherFileSystem> others;
    const std::vector<Space> spaces = spacesOf(layout.below, sources);
    for (std::size_t i = 0; i < spaces.size(); ++i) {
        const Space& space = spaces[i];
        // What has no room at all keeps nothing: it only shows what the kernel knows.
        if (space && space->totalBytes == 0) continue;
        others.push_back({.path = Text{layout.below[i].path},
                          .kind = Text{layout.below[i].kind},
                          .usedBytes = space ? std::optional{space->totalBytes - space->freeBytes} : std::nullopt});
    }
    std::ranges::stable_sort(others, std::greater{}, &DiskAccount::OtherFileSystem::usedBytes);
    return others;
}

std::vector<DiskAccount::DeletedOpenFile> deletedOpenOf(const std::vector<DeletedOpenFile>& files) {
    std::vector<DiskAccount::DeletedOpenFile> result;
    for (const DeletedOpenFile& file : files) {
        DiskAccount::DeletedOpenFile shown{
            .path = Text{file.path}, .allocatedBytes = file.allocatedBytes, .processes = {}};
        for (const FileHolder& holder : file.holders)
            shown.processes.push_back({.id = holder.processIdentifier, .name = Text{holder.name}});
        result.push_back(std::move(shown));
    }
    return result;
}

}  // namespace

DiskAccountSources DiskAccountSources::ofThisSystem() {
    return {.layout = fileSystemAt, .space = fileSystemSpace, .deletedOpen = deletedOpenFiles};
}

std::optional<DiskAccount> diskAccount(const ScanSnapshot& snapshot, const ScanOptions& options,
                                       const DiskAccountSources& sources) {
    // One file system's figures can't account for what was found on several.
    if (options.mounts == ScanOptions::Mounts::entered) return std::nullopt;
    const std::string root = snapshot.scope().root.standardized().path().string();
    const auto layout = sources.layout(root);
    const Space space = layout ? sources.space(root) : std::nullopt;
    if (!space || space->totalBytes == 0) return std::nullopt;
    return DiskAccount{.kind = Text{layout->top.kind},
                       .totalBytes = space->totalBytes,
                       .usedBytes = space->totalBytes - space->freeBytes,
                       .freeBytes = space->freeBytes,
                       .availableBytes = space->availableBytes,
                       .shownBytes = snapshot.totalAllocatedBytes(),
                       .unreadItems = std::ssize(snapshot.issues()),
                       .leftOut = options.leftOut(snapshot.scope()),
                       .deletedOpen = deletedOpenOf(sources.deletedOpen(root)),
                       .otherSystems = othersOf(*layout, sources),
                       .sharesRoom = layout->sharesRoom};
}

std::optional<DiskAccount> DiskAccount::of(const ScanSnapshot& snapshot, const ScanOptions& options) {
    return diskAccount(snapshot, options, DiskAccountSources::ofThisSystem());
}

std::int64_t DiskAccount::deletedOpenBytes() const {
    // A file system may say anything of its files.
    constexpr std::int64_t most = std::numeric_limits<std::int64_t>::max() / 4;
    std::int64_t sum = 0;
    for (const DeletedOpenFile& file : deletedOpen) {
        sum = std::min(sum + std::clamp<std::int64_t>(file.allocatedBytes, 0, most), most);
    }
    return sum;
}

std::int64_t DiskAccount::restBytes() const { return usedBytes - shownBytes - deletedOpenBytes(); }

}  // namespace KestrelCore
