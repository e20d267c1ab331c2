#include "Scanning/ScanWalk.hpp"

#include "Base/PathComponents.hpp"
#include "Base/TextScan.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Model/KindOfItem.hpp"
#include "Scanning/SystemFolders.hpp"

#include <algorithm>
#include <cerrno>

// A walk of a million entries must not join a million paths. What an entry needs to know of the folders above it stands
// in a stack with one level for each directory on the way:
//
//     level 0    /home/anna          row 0     folder 2    rating: of what lies in the home directory
//     level 1    /home/anna/music    row 17    folder 9    rating: made of level 0's and "music"
//     entry      song.flac           becomes a row in folder 9, rated by level 1's rating and its own name
//
// The one path that is kept is that of the deepest directory; it grows and shrinks with the stack. A whole path is made
// only for an issue and for the progress report of every 2048th entry. A directory becomes a folder when something is
// found in it, so that the many empty ones cost a row and nothing else.
//
// Unless its options say otherwise, a scan of "/" adds small ordinary files to their folders: there are millions of
// them, none worth a line to somebody who looks for space. Photos, videos and documents are listed whatever their size,
// for the libraries.

namespace KestrelCore {

namespace {

/// A report costs a path and a lock: this many entries take some milliseconds, so they come more often than anybody
/// looks.
constexpr std::int64_t entriesPerReport = 2048;
/// In allocated bytes; from here on a file is listed in a scan of "/" too.
constexpr std::int64_t smallFileBytes = 1'048'576;

}  // namespace

ScanWalk::ScanWalk(const Text& rootPath, const SafetyRules& rules, std::function<void(ScanProgress)> report,
                   const ScanOptions& options)
    : rootPath_{rootPath}, isWholeDisk_{rootPath == Text{"/"}},
      leavesSystemOut_{isWholeDisk_ && options.systemFolders == ScanOptions::SystemFolders::leftOut},
      foldsSmallFiles_{isWholeDisk_ && options.smallFiles == ScanOptions::SmallFiles::folded}, rules_{rules},
      report_{std::move(report)}, linkedFiles_{options.linkedFiles} {
    if (options.growing) growing_.emplace();
}

bool ScanWalk::accept(const TraversalEntry& entry) {
    using Kind = TraversalEntry::Kind;
    if (entry.kind == Kind::directoryEnd) {
        if (growing_) growing_->leaveTo(entry.level);
        return true;
    }
    if (entry.level == 0) {
        acceptRoot(entry);
        return true;
    }
    if (levels_.empty()) return true;  // the root could not be looked at
    if (entry.kind == Kind::leftOut) {
        if (entry.rule >= leftOut_.size()) leftOut_.resize(std::size_t{entry.rule} + 1);
        ++leftOut_[entry.rule];
        return true;
    }
    // An entry of level n lies in the directory of level n - 1; what is deeper has been left by now.
    levels_.erase(levels_.begin() + std::min<std::ptrdiff_t>(entry.level, std::ssize(levels_)), levels_.end());
    if (growing_) growing_->leaveTo(entry.level);
    path_.resize(levels_.back().pathLength);
    const std::string_view name = wellFormed(entry.name);
    if (entry.status == nullptr || entry.kind == Kind::unreadableDirectory || name.size() > NameArena::longestName) {
        addIssue(name, entry.errorNumber);
        return entry.kind != Kind::directory;
    }
    if (entry.kind == Kind::directory && leavesSystemOut_ && entry.level == 1) {
        const auto isThis = [&](std::string_view excluded) { return excluded.substr(1) == name; };
        if (std::any_of(excludedFromDisk.begin(), excludedFromDisk.end(), isThis)) return false;
    }
    // Its bytes count once for itself and once for each folder above it.
    if (!budget_.take(entry.status->allocatedBytes, std::int64_t{entry.level} + 1)) {
        addIssue(name, EOVERFLOW);
        return entry.kind != Kind::directory;
    }
    const std::uint32_t row = addItem(entry, name);
    if (entry.kind == Kind::directory) {
        path_ += '/';
        path_ += name;
        levels_.push_back(Level{.pathLength = path_.size(),
                                .row = row,
                                .folder = ScannedTree::none,
                                .rating = rules_.child(levels_.back().rating, name)});
        if (growing_) growing_->enter(row);
    }
    return true;
}

void ScanWalk::acceptRoot(const TraversalEntry& entry) {
    if (entry.status != nullptr && entry.kind != TraversalEntry::Kind::unreadableDirectory) {
        (void)budget_.take(entry.status->allocatedBytes);  // the first, which no walk gives beyond the bound
        addRoot(*entry.status);
        return;
    }
    levels_.clear();
    if (growing_) growing_->leaveTo(0);
    if (issues_.size() < mostIssues) {
        issues_.push_back(ScanIssue{rootPath_, entry.errorNumber == 0 ? Text{"The item could not be inspected."}
                                                                      : systemErrorText(entry.errorNumber)});
    }
}

void ScanWalk::addRoot(const FileStatus& status) {
    RecordStorage& storage = tree_.storage();
    const auto folder = storage.folder(rootPath_.view());
    if (!folder) throw KestrelError::unavailable("The selected location could not be scanned.");
    Text name = Path::lastComponent(rootPath_);
    if (name.isEmpty()) name = Text{"/"};
    const ExtensionTable::Entry& extension =
        extensions_.entry(name.view().substr(Path::extensionOffset(name.view())), storage);
    RecordStorage::Row& row = storage.appendIrregular(std::nullopt, rootPath_, name);
    storage.fill(row, fields(status, name.view(), extension, isFurtherLink(status),
                             rules_.risk(rootPath_, name, storage.extensions()[extension.position])));
    tree_.setRoot(0, *folder);
    if (growing_) growing_->setRoot(rootPath_, tree_.sharedStorage(), 0, *folder);
    path_ = isWholeDisk_ ? std::string{} : rootPath_.string();
    levels_.assign(1, Level{.pathLength = path_.size(), .row = 0, .folder = *folder, .rating = rules_.root(rootPath_)});
}

std::uint32_t ScanWalk::addItem(const TraversalEntry& entry, std::string_view name) {
    const FileStatus& status = *entry.status;
    Level& parent = levels_.back();
    RecordStorage& storage = tree_.storage();
    const ExtensionTable::Entry& extension = extensions_.entry(name.substr(Path::extensionOffset(name)), storage);
    const bool isDuplicate = isFurtherLink(status);
    const ScannedTree::FolderIndex parentFolder = folder(parent);
    std::uint32_t position = ScannedTree::none;
    if (foldsSmallFiles_ && status.type == FileType::regular && status.allocatedBytes < smallFileBytes &&
        !extension.isLibraryItem) {
        if (!isDuplicate) tree_.addFoldedBytes(parentFolder, status.allocatedBytes);
        if (!isDuplicate && growing_) growing_->addFoldedBytes(parentFolder, status.allocatedBytes);
    } else {
        position = static_cast<std::uint32_t>(storage.size());
        RecordStorage::Row& row = storage.appendRegular(parentFolder, name);
        storage.fill(row, fields(status, name, extension, isDuplicate,
                                 rules_.risk(parent.rating, name, extension.isApplication)));
        if (growing_) growing_->add(parentFolder, position);
    }
    count(status, isDuplicate, name);
    return position;
}

RecordStorage::Fields ScanWalk::fields(const FileStatus& status, std::string_view name,
                                       const ExtensionTable::Entry& extension, bool isDuplicate, RiskLevel risk) {
    return {.identity = FileIdentity{.device = status.device, .inode = status.inode},
            .kind = kindOf(status.type, extension.isPackage),
            .logicalBytes = status.size,
            .allocatedBytes = status.allocatedBytes,
            .aggregateAllocatedBytes = isDuplicate ? 0 : status.allocatedBytes,
            .modifiedAt = Date::fromFileTime(status.modifiedSeconds, status.modifiedNanoseconds),
            .extension = extension.position,
            .isHidden = status.isUserHidden || beginsWithDot(name),
            .isCloudPlaceholder = status.isDataless,
            .isHardLinkDuplicate = isDuplicate,
            .risk = risk};
}

bool ScanWalk::isFurtherLink(const FileStatus& status) {
    if (status.type != FileType::regular || status.links < 2) return false;
    const FileIdentity identity{.device = status.device, .inode = status.inode};
    if (!seenLinks_.insert(identity).second) return true;
    if (linkedFiles_) linkedFiles_->add(identity, status.allocatedBytes);
    return false;
}

ScannedTree::FolderIndex ScanWalk::folder(Level& level) {
    if (level.folder == ScannedTree::none) {
        // The directory's own record lies in the folder of the level above, which it has made already.
        const ScannedTree::FolderIndex above = tree_.storage().row(level.row).folder;
        level.folder = tree_.addFolder(above, level.row);
        if (growing_) growing_->addFolder(above, level.folder);
    }
    return level.folder;
}

std::string_view ScanWalk::wellFormed(std::string_view rawName) {
    if (isASCII(rawName) || isWellFormedUTF8(rawName)) return rawName;
    nameBuffer_ = repairedUTF8(rawName);
    return nameBuffer_;
}

Text ScanWalk::path(std::string_view name) const { return Text::concatenating({path_, "/", name}); }

void ScanWalk::addIssue(std::string_view name, int errorNumber) {
    if (issues_.size() >= mostIssues) return;
    issues_.push_back(ScanIssue{path(name), errorNumber == 0 ? Text{"The item could not be inspected."}
                                                             : systemErrorText(errorNumber)});
}

void ScanWalk::count(const FileStatus& status, bool isDuplicate, std::string_view name) {
    ++filesSeen_;
    if (!isDuplicate) allocatedBytesSeen_ += status.allocatedBytes;
    if (filesSeen_ == 1 || filesSeen_ % entriesPerReport == 0) {
        report_(ScanProgress{
            .filesSeen = filesSeen_, .allocatedBytesSeen = allocatedBytesSeen_, .currentPath = path(name)});
    }
}

void ScanWalk::reportEnd() {
    report_(ScanProgress{.filesSeen = filesSeen_, .allocatedBytesSeen = allocatedBytesSeen_, .currentPath = rootPath_});
}

}  // namespace KestrelCore
