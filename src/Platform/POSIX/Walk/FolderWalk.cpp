#include "Platform/POSIX/Walk/FolderWalk.hpp"

#include "Base/ByteBudget.hpp"
#include "Platform/POSIX/Walk/ReadAhead.hpp"

#include <cerrno>
#include <cstdint>
#include <utility>

// The walk goes through the folders that `ReadAhead` provides: within a piece it only steps on; at the end of a piece
// and on entering a folder it asks for the next one, reads it itself if no other thread has begun to, and otherwise
// waits. So the order of the entries never depends on which thread was faster.

namespace KestrelCore {

namespace {

class FolderWalk final : public Traversal {
public:
    FolderWalk(const TraversalOptions& options, const std::shared_ptr<const WalkSystem>& system)
        : readAhead_{std::make_shared<ReadAhead>(options, system)}, system_{system}, folder_{&readAhead_->top()},
          mostEntries_{options.mostEntries}, root_{options.root}, crossing_{options.crossing},
          stopsOnCancel_{options.cancellation.onCancel([readAhead = readAhead_] { readAhead->stop(); })} {}

    ~FolderWalk() override { readAhead_->stop(); }

    const TraversalEntry* next() override {
        if (isDone_) return nullptr;
        if (readAhead_->isStopped()) return stop();
        const bool descends = std::exchange(isAtDirectory_, false);
        if (descends) {
            Folder* parent = folder_;
            const PieceEntry& directory = parent->piece->entries[parent->nextEntry - 1];
            if (!directory.hasFolder) return give(directory, TraversalEntry::Kind::directoryEnd, 0);
            std::unique_ptr<Folder>& child = parent->piece->folders[parent->nextFolder++];
            if (child == nullptr) return give(directory, TraversalEntry::Kind::directoryEnd, 0);
            folder_ = child.get();
        }
        while (true) {
            Folder& folder = *folder_;
            if (folder.piece != nullptr && folder.nextEntry < folder.piece->entries.size()) {
                const bool isTooMuch = entries_ >= mostEntries_ && folder_ != &readAhead_->top();
                return isTooMuch ? leaveEarly() : step(folder);
            }
            if (folder.piece != nullptr) releasedBytes_ += folder.piece->bytes;
            folder.piece = nullptr;
            if (!folder.isLastPiece) {
                folder.piece = readAhead_->nextPiece(folder, std::exchange(releasedBytes_, 0));
                folder.nextEntry = folder.nextFolder = 0;
                if (folder.piece != nullptr) continue;
                if (!folder.isLastPiece) return stop();
            }
            if (folder_ == &readAhead_->top()) {
                isDone_ = true;
                return nullptr;
            }
            return leave();
        }
    }

    void skipDescendants() override {
        if (!isAtDirectory_ || !folder_->piece->entries[folder_->nextEntry - 1].hasFolder) return;
        std::unique_ptr<Folder>& child = folder_->piece->folders[folder_->nextFolder];
        if (child != nullptr) readAhead_->abandon(std::move(child));
    }

    int errorNumber() const override { return errorNumber_; }

    std::vector<TraversalMount> entered() const override { return entered_; }

private:
    const TraversalEntry* step(Folder& folder) {
        ++entries_;
        const PieceEntry& entry = folder.piece->entries[folder.nextEntry++];
        if (entry.kind == TraversalEntry::Kind::noStatus || entry.kind == TraversalEntry::Kind::leftOut)
            return give(entry, entry.kind, entry.errorNumber);
        // No sum of real allocations comes near the bound; see also `largestAllocation`.
        if (!totalBytes_.take(entry.status.allocatedBytes)) {
            if (entry.hasFolder) readAhead_->abandon(std::move(folder.piece->folders[folder.nextFolder++]));
            return give(entry, TraversalEntry::Kind::noStatus, EOVERFLOW);
        }
        isAtDirectory_ = entry.kind == TraversalEntry::Kind::directory;
        if (crossing_ != MountCrossing::none && isAtDirectory_) {
            if (&folder == &readAhead_->top()) plan_ = system_->crossingPlan(crossing_, root_, entry.status);
            if (entry.isCrossing) decideOnMount(folder, entry);
        }
        return give(entry, entry.kind, 0);
    }

    /// At a mount point, or at a subvolume: what is not entered is dropped, before anything of it was read. Kept out of
    /// the way of all other entries.
    [[gnu::noinline]] void decideOnMount(Folder& folder, const PieceEntry& entry) {
        std::unique_ptr<Folder>& child = folder.piece->folders[folder.nextFolder];
        std::string path{folder.piece->name(entry)};
        for (const Folder* above = &folder; above->name != nullptr; above = above->parent) {
            const std::string_view name = above->name;
            path.insert(0, name.ends_with('/') ? std::string{name} : std::string{name} + '/');
        }
        std::optional<TraversalMount> mount =
            plan_->enter({.path = path, .folder = entry.status, .mount = child->mount, .mountAbove = folder.mount});
        if (!mount) {
            readAhead_->abandon(std::move(child));
            return;
        }
        mount->path = std::move(path);
        entered_.push_back(std::move(*mount));
    }

    /// Ends the folder that the walk is in.
    const TraversalEntry* leave() {
        const int error = folder_->errorNumber;
        // Nothing is left in it by now, and it can take its memory with it.
        (void)takeFolder();
        return giveEnd(error);
    }

    /// Ends the folder that the walk is in, whatever there is still in it.
    const TraversalEntry* leaveEarly() {
        readAhead_->abandon(takeFolder());
        return giveEnd(EOVERFLOW);
    }

    /// Goes up to the folder above.
    std::unique_ptr<Folder> takeFolder() {
        folder_ = folder_->parent;
        return std::move(folder_->piece->folders[folder_->nextFolder - 1]);
    }

    const TraversalEntry* giveEnd(int error) {
        const PieceEntry& directory = folder_->piece->entries[folder_->nextEntry - 1];
        return give(directory,
                    error == 0 ? TraversalEntry::Kind::directoryEnd : TraversalEntry::Kind::unreadableDirectory, error);
    }

    /// Fills in what is returned, for an entry of the folder that the walk is in.
    const TraversalEntry* give(const PieceEntry& entry, TraversalEntry::Kind kind, int error) {
        using Kind = TraversalEntry::Kind;
        given_.kind = kind;
        given_.level = folder_ == &readAhead_->top() ? 0 : folder_->level + 1;
        given_.name = folder_->piece->name(entry);
        given_.status = kind == Kind::directory || kind == Kind::item ? &entry.status : nullptr;
        given_.errorNumber = error;
        given_.rule = entry.rule;
        return &given_;
    }

    const TraversalEntry* stop() {
        isDone_ = true;
        errorNumber_ = ECANCELED;
        return nullptr;
    }

    std::shared_ptr<ReadAhead> readAhead_;
    std::shared_ptr<const WalkSystem> system_;
    Folder* folder_;              ///< the one whose entries are being given
    bool isAtDirectory_ = false;  ///< the last entry was a directory: its content is next
    bool isDone_ = false;
    int errorNumber_ = 0;
    std::size_t entries_ = 0;  ///< given so far
    const std::size_t mostEntries_;
    const std::string root_;
    const MountCrossing crossing_;
    std::unique_ptr<CrossingPlan> plan_;  ///< null until the root was given, and where no mount is crossed
    std::vector<TraversalMount> entered_;
    ByteBudget totalBytes_;          ///< allocated, of all entries given
    std::size_t releasedBytes_ = 0;  ///< of pieces that were freed since `ReadAhead` was last told
    TraversalEntry given_;
    CancellationToken::Registration stopsOnCancel_;
};

}  // namespace

std::unique_ptr<Traversal> openFolderWalk(const TraversalOptions& options, std::shared_ptr<const WalkSystem> system) {
    return std::make_unique<FolderWalk>(options, system);
}

}  // namespace KestrelCore
