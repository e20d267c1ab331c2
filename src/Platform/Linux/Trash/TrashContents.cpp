#include "Platform/TrashContents.hpp"

#include "KestrelCore/Base/FileIdentity.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/Trash/TrashFolder.hpp"
#include "Platform/Linux/Trash/TrashInfo.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"
#include "Platform/POSIX/Removal/SafeRemoval.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <set>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// A trash is emptied through the folders that were opened when it was found: nothing goes by a path again, so that
// whatever is put in the place of a trash, or of a folder above it, is out of reach. What lies in `files` is removed as
// any other item is; only that it lies in a trash is no reason against it here. The entry in `info` goes last: what is
// left after a crash is an item with its entry, or an entry alone.

namespace KestrelCore {

namespace {

constexpr std::string_view infoEnding = ".trashinfo";

/// A program that trashes something writes the entry first. As long as an entry is as young as this, the item may be on
/// its way, and would be nobody's without it.
bool isYoung(const struct stat& entry) {
    constexpr std::time_t youngest = 3600;
    return std::time(nullptr) - entry.st_mtim.tv_sec < youngest;
}

/// What the kernel shows as files, and what is mounted by the mere look at it: no trash lies there.
bool mayHaveTrash(const Mount& mount) {
    constexpr std::array<std::string_view, 20> without{"autofs",   "binfmt_misc", "bpf",        "cgroup",   "cgroup2",
                                                       "configfs", "debugfs",     "devpts",     "devtmpfs", "efivarfs",
                                                       "fusectl",  "hugetlbfs",   "mqueue",     "nsfs",     "proc",
                                                       "pstore",   "rpc_pipefs",  "securityfs", "sysfs",    "tracefs"};
    return std::ranges::find(without, mount.type) == without.end();
}

std::optional<std::size_t> lengthOfItemName(std::string_view infoName) {
    if (!infoName.ends_with(infoEnding) || infoName.size() == infoEnding.size()) return std::nullopt;
    return infoName.size() - infoEnding.size();
}

/// The names in an open folder; false where not all could be read.
bool readNames(int folder, std::set<std::string>& names) {
    const FileDescriptor again{::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
    if (!again.isOpen()) return false;
    DirectoryEntries listing{DirectoryEntries::manyEntries};
    while (listing.readPiece(again.get())) {
        while (const ListedEntry* entry = listing.next()) names.emplace(entry->name);
    }
    return listing.errorNumber() == 0;
}

Date dateOf(std::time_t seconds) { return Date::since1970(static_cast<double>(seconds)); }

/// What the entry says, as far as it can be understood.
void readEntry(const TrashFolder& trash, TrashContent& content) {
    const auto text = trash.readInfo(content.name);
    if (!text) return;
    if (auto path = pathOfTrashInfo(*text)) {
        const bool isRelative = !path->starts_with('/') && !trash.volumePath.empty();
        if (isRelative) *path = (trash.volumePath == "/" ? "" : trash.volumePath) + "/" + *path;
        if (path->starts_with('/')) content.original = std::move(path);
    }
    if (const auto date = dateOfTrashInfo(*text)) content.trashedAt = dateOf(*date);
}

PlatformError notInTrash() {
    return {PlatformError::Domain::fileManager, PlatformError::fileNoSuchFile, "The item is no longer in the trash."};
}

}  // namespace

struct TrashContents::State {
    std::vector<TrashFolder> trashes;
    std::vector<std::string> paths;
    std::vector<std::vector<FolderSize>> gone;           ///< folders that were removed, by trash
    std::vector<std::unique_ptr<RemovalBatch>> batches;  ///< by trash; null while nothing is removed
    std::set<std::pair<std::uint64_t, std::uint64_t>> known;

    void add(std::optional<TrashFolder> trash) {
        struct stat status {};
        // A volume may be mounted in several places.
        if (!trash || ::fstat(trash->files.get(), &status) != 0 || !known.emplace(status.st_dev, status.st_ino).second)
            return;
        paths.push_back(trash->path);
        trashes.push_back(std::move(*trash));
        gone.emplace_back();
        batches.emplace_back();
    }

    /// The item as something to be removed.
    [[nodiscard]] ItemLocation location(const TrashContent& content) const {
        const TrashFolder& trash = trashes.at(content.trash);
        ItemLocation item;
        item.folder = FileDescriptor{::fcntl(trash.files.get(), F_DUPFD_CLOEXEC, 0)};
        // Mounts stand in the table by paths without links.
        item.path = pathOfDescriptor(trash.files.get(), trash.path + "/files") + "/" + content.name;
        item.name = content.name;
        if (!item.folder.isOpen()) throw itemError(FileOperation::remove, item, errno);
        return item;
    }
};

TrashContents::TrashContents() : state_{std::make_unique<State>()} {
    constexpr auto creation = TrashFolder::Creation::never;
    int error = 0;
    state_->add(TrashFolder::openHome(creation, std::nullopt, error));
    const auto mounts = MountTable::current();
    if (!mounts) return;
    for (const Mount& mount : mounts->mounts) {
        if (!mayHaveTrash(mount)) continue;
        const FileDescriptor top{::open(mount.point.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)};
        if (!top.isOpen()) continue;
        state_->add(TrashFolder::openShared(top.get(), mount.point, creation, error));
        state_->add(TrashFolder::openOwn(top.get(), mount.point, creation, error));
    }
}

TrashContents::~TrashContents() = default;

const std::vector<std::string>& TrashContents::paths() const { return state_->paths; }

std::string TrashContents::place(const TrashContent& content) const {
    const std::string& path = state_->paths.at(content.trash);
    if (content.item) return path + "/files/" + content.name;
    return path + "/info/" + content.name + std::string{infoEnding};
}

std::vector<TrashContent> TrashContents::list(std::size_t& unread) const {
    std::vector<TrashContent> contents;
    for (std::size_t i = 0; i < state_->trashes.size(); ++i) {
        const TrashFolder& trash = state_->trashes[i];
        std::set<std::string> items;
        std::set<std::string> entries;
        const bool areAllItemsRead = readNames(trash.files.get(), items);
        const bool areAllEntriesRead = readNames(trash.info.get(), entries);
        unread += (areAllItemsRead ? 0U : 1U) + (areAllEntriesRead ? 0U : 1U);
        // Of a half the other can't be told: an item whose entry was not seen is not without one, nor the reverse.
        if (!areAllItemsRead || !areAllEntriesRead) continue;
        for (const std::string& name : items) {
            const auto status = statusIn(trash.files.get(), name);
            if (!status) {
                if (errno != ENOENT) ++unread;
                continue;
            }
            TrashContent content{.trash = i,
                                 .name = name,
                                 .item = asExpected(*status),
                                 .hasEntry = entries.contains(name + std::string{infoEnding}),
                                 .original = {},
                                 .trashedAt = {}};
            if (content.hasEntry) readEntry(trash, content);
            // Being moved to the trash is a change of its own.
            if (!content.trashedAt) content.trashedAt = dateOf(status->st_ctim.tv_sec);
            contents.push_back(std::move(content));
        }
        for (const std::string& entry : entries) {
            const auto length = lengthOfItemName(entry);
            if (!length || items.contains(entry.substr(0, *length))) continue;
            const auto status = statusIn(trash.info.get(), entry);
            if (!status || S_ISDIR(status->st_mode) || isYoung(*status)) continue;
            TrashContent content{.trash = i,
                                 .name = entry.substr(0, *length),
                                 .item = {},
                                 .hasEntry = true,
                                 .original = {},
                                 .trashedAt = {}};
            readEntry(trash, content);
            if (!content.trashedAt) content.trashedAt = dateOf(status->st_mtim.tv_sec);
            contents.push_back(std::move(content));
        }
    }
    return contents;
}

std::optional<Text> TrashContents::remove(const TrashContent& content, const CancellationToken& cancellation) {
    const TrashFolder& trash = state_->trashes.at(content.trash);
    const bool isName = !content.name.empty() && content.name != "." && content.name != ".." &&
                        content.name.find('/') == std::string::npos && content.name.find('\0') == std::string::npos;
    if (!isName) throw notInTrash();
    std::optional<Text> remark;
    const std::string entryName = content.name + std::string{infoEnding};
    if (content.item) {
        const auto before = statusIn(trash.info.get(), entryName);
        auto& batch = state_->batches[content.trash];
        if (!batch) batch = std::make_unique<RemovalBatch>(trash.files.get());
        remark = removeAt(state_->location(content), *content.item, *batch, cancellation);
        constexpr std::uint32_t folderBits = S_IFDIR;
        if (content.item->fileTypeBits == folderBits) state_->gone[content.trash].push_back({.name = content.name});
        // While the item went, its name was free: what stands there now may be another's.
        if (!before) return remark;
        const auto now = statusIn(trash.info.get(), entryName);
        if (!now || !matches(*now, asExpected(*before)) || statusIn(trash.files.get(), content.name)) return remark;
    } else {
        const auto entry = statusIn(trash.info.get(), entryName);
        if (!entry) throw notInTrash();
        const bool isItemGone = !statusIn(trash.files.get(), content.name) && errno == ENOENT;
        if (!isItemGone || isYoung(*entry))
            throw PlatformError{PlatformError::Domain::fileManager, PlatformError::fileWriteUnknown,
                                "The entry is young: a program may be about to move an item there."};
    }
    const int left = trash.removeInfo(content.name);
    if (left == 0) return remark;
    const Text sentence = staleInfoSentence(trash, content.name, left);
    return remark ? Text::concatenating({remark->view(), " ", sentence.view()}) : sentence;
}

std::optional<Text> TrashContents::settle(std::size_t trash) {
    auto& batch = state_->batches.at(trash);
    auto remark = batch ? batch->hiding.remove() : std::nullopt;
    batch.reset();
    return remark;
}

void TrashContents::tidy() {
    for (auto& batch : state_->batches) batch.reset();
    for (std::size_t i = 0; i < state_->trashes.size(); ++i) {
        if (!state_->gone[i].empty()) state_->trashes[i].forgetSizes(state_->gone[i]);
        state_->gone[i].clear();
    }
}

}  // namespace KestrelCore
