#include "Platform/POSIX/Walk/FolderReader.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/POSIX/Walk/CacheTag.hpp"
#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <cerrno>
#include <fcntl.h>

// Reads one folder, or a piece of one: opens it, lists it, looks at each entry. It is opened step by step from a folder
// that is still open, and what is found at each step must be what the walk has listed there: a folder that was moved or
// exchanged meanwhile is gone for this walk, and nothing outside the tree is ever read in its place. What is read is
// kept in buffers that grow once, and copied into a piece of exactly its size when it is handed over.

namespace KestrelCore {

namespace {

constexpr std::size_t enoughEntries = 1500;

bool isLackOfDescriptors(int error) noexcept { return error == EMFILE || error == ENFILE; }

bool isCrossing(const EntryJoint& joint, std::uint64_t device, const Folder& parent) noexcept {
    if (joint.kind != EntryJoint::Kind::byNumbers) return joint.kind == EntryJoint::Kind::mountPoint;
    return device != parent.device || (joint.mount != 0 && parent.mount != 0 && joint.mount != parent.mount);
}

}  // namespace

ReadingResult FolderReader::read(const ReadingTask& task, const std::atomic<bool>& isStopped) {
    source_->begin();
    ReadingResult result = openAndRead(task, isStopped);
    source_->end();
    return result;
}

ReadingResult FolderReader::openAndRead(const ReadingTask& task, const std::atomic<bool>& isStopped) {
    ReadingResult result;
    if (const int error = open(task, result); error != 0) {
        result.errorNumber = error;
        result.lacksDescriptors = isLackOfDescriptors(error);
        result.isFinished = true;
        return result;
    }
    const int descriptor = result.descriptor->get();
    const auto cacheRule = task.filter == nullptr ? std::nullopt : task.filter->cacheRule();
    if (cacheRule && !task.steps.empty() && task.folder->level > 0 && isTaggedAsCache(descriptor)) {
        add(task, descriptor, {.name = cacheTagName});
        addLeftOut("", *cacheRule);
        result.isFinished = true;
    }
    while (!result.isFinished && (task.isWhole || piece_.entries.size() < enoughEntries)) {
        if (!source_->readPiece(descriptor)) {
            // An error would come again and again: what was read counts, and the folder is left.
            result.errorNumber = source_->errorNumber();
            result.isFinished = true;
            break;
        }
        while (const ListedEntry* entry = source_->next()) {
            if (isStopped.load(std::memory_order_relaxed)) return result;
            if (piece_.entries.size() == task.mostEntries) {
                result.errorNumber = EOVERFLOW;
                result.isFinished = true;
                break;
            }
            add(task, descriptor, *entry);
        }
        // Somebody else may go on after this piece, and knows nothing of what ended it early.
        if (!result.isFinished && source_->errorNumber() != 0) {
            result.errorNumber = source_->errorNumber();
            result.isFinished = true;
        }
    }
    result.piece = takePiece();
    // A folder that holds no other is not needed any more; here its descriptor is closed outside every lock.
    const bool isOnlyPiece = !task.steps.empty() && result.isFinished;
    if (isOnlyPiece && (result.piece == nullptr || result.piece->folders.empty())) result.descriptor = nullptr;
    return result;
}

/// Goes down the steps. What is found at each must be what was listed: else the folder was moved away or replaced, and
/// for this walk it is gone.
int FolderReader::open(const ReadingTask& task, ReadingResult& result) {
    result.descriptor = task.start;
    for (const OpeningStep& step : task.steps) {
        const int from = result.descriptor != nullptr ? result.descriptor->get() : AT_FDCWD;
        const int opened = repeatedWhenInterrupted(
            [&] { return ::openat(from, step.name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); });
        if (opened < 0) {
            const int error = errno;
            result.descriptor = nullptr;
            // A link or a file in the place of the folder: that folder is no longer there.
            return error == ELOOP || error == ENOTDIR ? ENOENT : error;
        }
        result.descriptor = std::make_shared<FileDescriptor>(opened);
        FileStatus status;
        std::uint64_t mount = 0;
        int error = statusAt(opened, "", status, mount);
        if (error == 0 && (status.inode != step.inode || status.device != step.device ||
                           (mount != 0 && step.mount != 0 && mount != step.mount))) {
            error = ENOENT;
        }
        if (error != 0) {
            result.descriptor = nullptr;
            return error;
        }
        if (step.keepFor != nullptr) result.kept.emplace_back(step.keepFor, result.descriptor);
    }
    return 0;
}

void FolderReader::addLeftOut(std::string_view name, std::uint32_t rule) {
    PieceEntry& entry = piece_.entries.emplace_back();
    entry.nameOffset = piece_.names.size();
    entry.nameLength = static_cast<std::uint32_t>(name.size());
    entry.kind = TraversalEntry::Kind::leftOut;
    entry.rule = rule;
    piece_.names.insert(piece_.names.end(), name.begin(), name.end());
    piece_.names.push_back('\0');
}

void FolderReader::add(const ReadingTask& task, int descriptor, const ListedEntry& listed) {
    const std::string_view name = listed.name;
    const auto ruleFor = [&](bool isFolder) {
        using Type = TraversalFilter::EntryType;
        return task.filter->ruleFor(task.folder->place.get(), name, isFolder ? Type::folder : Type::other);
    };
    // Left out before anybody looks at it: what hangs when it is looked at can be left out, too.
    if (task.filter != nullptr && !listed.isOfUnknownType) {
        if (const auto rule = ruleFor(listed.isFolder)) return addLeftOut(name, *rule);
    }
    PieceEntry& entry = piece_.entries.emplace_back();
    entry.nameOffset = piece_.names.size();
    entry.nameLength = static_cast<std::uint32_t>(name.size());
    piece_.names.insert(piece_.names.end(), name.data(), name.data() + name.size() + 1);
    EntryJoint joint;
    entry.errorNumber = source_->look(descriptor, listed, entry.status, joint);
    if (task.filter != nullptr && listed.isOfUnknownType) {
        if (const auto rule = ruleFor(entry.errorNumber == 0 && entry.status.type == FileType::directory)) {
            entry.kind = TraversalEntry::Kind::leftOut;
            entry.rule = *rule;
            return;
        }
    }
    if (entry.errorNumber != 0) {
        entry.kind = TraversalEntry::Kind::noStatus;
        return;
    }
    if (entry.status.type != FileType::directory) return;
    entry.kind = TraversalEntry::Kind::directory;
    const Folder& parent = *task.folder;
    // The content of a folder without data is not on this disk, and to list it would fetch it from where it is.
    if (entry.status.isDataless || joint.kind == EntryJoint::Kind::trigger) return;
    entry.isCrossing = isCrossing(joint, entry.status.device, parent);
    entry.hasFolder = !entry.isCrossing || task.crossing != MountCrossing::none;
    if (!entry.hasFolder) return;

    auto folder = std::make_unique<Folder>();
    folder->parent = task.folder;
    folder->inode = entry.status.inode;
    folder->device = entry.status.device;
    folder->mount = joint.mount;
    folder->level = parent.level + 1;
    const bool isBelowSlash = parent.level == 0 && parent.pathLength == 1;
    folder->pathLength = parent.pathLength + (isBelowSlash ? 0 : 1) + name.size();
    if (parent.notEntered != nullptr) folder->notEntered = parent.notEntered->find(name);
    if (task.filter != nullptr) folder->place = task.filter->below(parent.place, name);
    folder->isReadAhead = !entry.isCrossing && (folder->notEntered == nullptr || !folder->notEntered->isNotEntered);
    if (folder->pathLength > longestTraversedPath) {
        folder->state = Folder::State::finished;
        folder->isOpened = true;
        folder->errorNumber = ENAMETOOLONG;
    }
    folderEntries_.push_back(piece_.entries.size() - 1);
    piece_.folders.push_back(std::move(folder));
}

std::unique_ptr<FolderPiece> FolderReader::takePiece() {
    if (piece_.entries.empty()) return nullptr;
    auto piece = std::make_unique<FolderPiece>();
    piece->entries.assign(piece_.entries.begin(), piece_.entries.end());
    piece->names.assign(piece_.names.begin(), piece_.names.end());
    piece->folders.reserve(piece_.folders.size());
    for (std::size_t index = 0; index < folderEntries_.size(); ++index) {
        piece_.folders[index]->name = piece->names.data() + piece->entries[folderEntries_[index]].nameOffset;
        piece->folders.push_back(std::move(piece_.folders[index]));
    }
    piece->bytes = sizeof(FolderPiece) + piece->entries.size() * sizeof(PieceEntry) + piece->names.size() +
                   piece->folders.size() * (sizeof(Folder) + sizeof(void*));
    piece_.entries.clear();
    piece_.names.clear();
    piece_.folders.clear();
    folderEntries_.clear();
    return piece;
}

}  // namespace KestrelCore
