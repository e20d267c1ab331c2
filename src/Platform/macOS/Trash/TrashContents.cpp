#include "Platform/TrashContents.hpp"

#include "KestrelCore/Base/FileIdentity.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SafeRemoval.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/POSIX/StatusTimes.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/macOS/Trash/Portable/TrashRules.hpp"
#include "Platform/macOS/Trash/UserTrash.hpp"
#include "Platform/macOS/Volumes/SystemVolumes.hpp"

#include <cerrno>
#include <fcntl.h>
#include <set>
#include <unistd.h>
#include <utility>

// A trash is emptied through the folders that were opened when it was found: nothing goes by a path again, so that
// whatever is put in the place of a trash, or of a folder above it, is out of reach. Where items were is noted by
// Finder for itself: each counts as one with an entry that can't be read. The note goes by itself once the item is
// gone.

namespace KestrelCore {

namespace {

/// The names in an open folder; false where not all could be read.
bool readNames(int folder, std::set<std::string>& names) {
    const FileDescriptor again{::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!again.isOpen()) return false;
    DirectoryEntries listing{DirectoryEntries::manyEntries};
    while (listing.readPiece(again.get())) {
        while (const ListedEntry* entry = listing.next())
            if (isTrashedName(entry->name)) names.emplace(entry->name);
    }
    return listing.errorNumber() == 0;
}

PlatformError notInTrash() {
    return {PlatformError::Domain::fileManager, PlatformError::fileNoSuchFile, "The item is no longer in the trash."};
}

}  // namespace

struct TrashContents::State {
    std::vector<UserTrash> trashes;
    std::vector<UnopenedTrash> unopened;
    std::vector<std::string> paths;
    std::vector<std::unique_ptr<RemovalBatch>> batches;  ///< by trash; null while nothing is removed
    std::set<std::pair<std::uint64_t, std::uint64_t>> known;

    void add(UserTrash trash) {
        struct stat status {};
        // A volume may show in several places.
        if (::fstat(trash.folder.get(), &status) != 0 || !known.emplace(deviceOf(status), status.st_ino).second) return;
        paths.push_back(trash.path);
        trashes.push_back(std::move(trash));
        batches.emplace_back();
    }

    /// The item as something to be removed.
    [[nodiscard]] ItemLocation location(const TrashContent& content) const {
        const UserTrash& trash = trashes.at(content.trash);
        ItemLocation item;
        item.folder = FileDescriptor{::fcntl(trash.folder.get(), F_DUPFD_CLOEXEC, 0)};
        item.path = pathOfDescriptor(trash.folder.get(), trash.path) + "/" + content.name;
        item.name = content.name;
        if (!item.folder.isOpen()) throw itemError(FileOperation::remove, item, errno);
        return item;
    }
};

TrashContents::TrashContents() : state_{std::make_unique<State>()} {
    for (UserTrash& trash : UserTrash::ofHome(state_->unopened)) state_->add(std::move(trash));
    const auto volumes = currentVolumeTable();
    if (!volumes) return;
    for (const MountedFileSystem& mounted : volumes->mounted()) {
        // A server that is gone would be waited for, and what mounts by the mere look at it stays away.
        if (!mounted.isLocal || mounted.isSnapshot) continue;
        const FileDescriptor top = openFolderToPass(AT_FDCWD, mounted.point);
        if (!top.isOpen()) continue;
        // The system keeps people out of volumes of its own, which hold nothing that was thrown away.
        std::vector<UnopenedTrash> ofTheSystem;
        auto& unopened = mounted.isOutOfSight ? ofTheSystem : state_->unopened;
        if (auto trash = UserTrash::ofVolume(top.get(), mounted.point, unopened)) state_->add(std::move(*trash));
    }
}

TrashContents::~TrashContents() = default;

const std::vector<std::string>& TrashContents::paths() const { return state_->paths; }

std::string TrashContents::place(const TrashContent& content) const {
    return state_->paths.at(content.trash) + "/" + content.name;
}

std::vector<TrashContent> TrashContents::list(std::size_t& unread) const {
    std::vector<TrashContent> contents;
    unread += state_->unopened.size();
    for (std::size_t i = 0; i < state_->trashes.size(); ++i) {
        const UserTrash& trash = state_->trashes[i];
        std::set<std::string> names;
        if (!readNames(trash.folder.get(), names)) ++unread;
        for (const std::string& name : names) {
            const auto status = statusIn(trash.folder.get(), name);
            if (!status) {
                if (errno != ENOENT) ++unread;
                continue;
            }
            const std::time_t seconds = trash.addedTime(name).value_or(changeTime(*status).tv_sec);
            contents.push_back({.trash = i,
                                .name = name,
                                .item = asExpected(*status),
                                .hasEntry = true,
                                .original = {},
                                .trashedAt = Date::since1970(static_cast<double>(seconds))});
        }
    }
    return contents;
}

std::optional<Text> TrashContents::remove(const TrashContent& content, const CancellationToken& cancellation) {
    const bool isName = !content.name.empty() && content.name != "." && content.name != ".." &&
                        content.name.find('/') == std::string::npos && content.name.find('\0') == std::string::npos;
    if (!isName || !content.item || content.trash >= state_->trashes.size()) throw notInTrash();
    auto& batch = state_->batches[content.trash];
    if (!batch) batch = std::make_unique<RemovalBatch>(state_->trashes[content.trash].folder.get());
    return removeAt(state_->location(content), *content.item, *batch, cancellation);
}

std::optional<Text> TrashContents::settle(std::size_t trash) {
    auto& batch = state_->batches.at(trash);
    auto remark = batch ? batch->hiding.remove() : std::nullopt;
    batch.reset();
    return remark;
}

void TrashContents::tidy() {
    for (auto& batch : state_->batches) batch.reset();
}

}  // namespace KestrelCore
