#include "Platform/POSIX/Walk/ReadAhead.hpp"

#include "Platform/POSIX/Walk/StatusAt.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <sys/resource.h>
#include <system_error>
#include <thread>
#include <utility>

// The reading order is a list of the folders that are known but not fully read, in pre-order. A thread takes the first
// one that waits. When it has read it, the folders found in it take their place right before it, and it leaves the
// list, or stays behind them when it has more pieces. So the list stays in the order in which the walk will need the
// folders, at constant cost, and a folder that is being read marks the place where its content belongs.
//
// Bounds:
// - Memory: workers pause while the pieces that were read and not yet released hold more than `mostHeldBytes`. The
//   walk's own thread never pauses, it needs what it reads.
// - Descriptors: a folder stays open while folders in it are still to be opened, but only the most recently used
//   `mostKeptOpen_` are kept; one that was closed is opened again from its nearest open ancestor. On a long way down
//   the folders half way, three quarters, … of the way are kept, so that going up again folder by folder costs a
//   logarithm of the depth for each. A large folder between two pieces can't be closed, as its place would be lost;
//   beyond `mostHeldOpen_` of them folders are read whole. A reader holds three at most: where it starts, the step
//   before, and the step it opens; one reader at a time, those that it keeps on a long way down. 14 + 8 + 9 * 3 + 12.
// - When the process has none left, all that can be closed is, the workers end, and the walk goes on alone.

namespace KestrelCore {

namespace {

constexpr std::size_t mostHeldBytes = std::size_t{12} << 20;
constexpr std::size_t mostWorkers = 8;

/// Below this limit of the process a walk must leave descriptors to others and needs few itself.
constexpr rlim_t fewDescriptors = 192;
constexpr std::size_t fewKeptOpen = 2;
constexpr std::size_t fewHeldOpen = 1;

bool mayOpenMany() noexcept {
    rlimit limit{};
    return getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur >= fewDescriptors;
}

}  // namespace

ReadAhead::ReadAhead(const TraversalOptions& options, std::shared_ptr<const WalkSystem> system)
    : system_{std::move(system)}, top_{std::make_unique<Folder>()},
      notEntered_{NotEntered::tree(options.root, options.notEntered)}, filter_{options.filter},
      crossing_{options.crossing}, mostEntriesInFolder_{options.mostEntriesInFolder}, ownReader_{system_->source()} {
    if (mayOpenMany()) {
        // More threads than processors: on a cold disk they wait together, on a warm one they cost little.
        mostWorkers_ = std::clamp<std::size_t>(std::size_t{2} * std::thread::hardware_concurrency(), 2, mostWorkers);
        mostKeptOpen_ = 14;
        mostHeldOpen_ = 8;
    } else {
        isAlone_ = true;
        mostKeptOpen_ = fewKeptOpen;
        mostHeldOpen_ = fewHeldOpen;
    }

    const std::string& root = options.root;
    auto piece = std::make_unique<FolderPiece>();
    piece->names.assign(root.c_str(), root.c_str() + root.size() + 1);
    PieceEntry& entry = piece->entries.emplace_back();
    entry.nameLength = static_cast<std::uint32_t>(root.size());
    std::uint64_t mount = 0;
    entry.errorNumber = root.empty() ? ENOENT : statusAt(AT_FDCWD, root.c_str(), entry.status, mount);
    top_->state = Folder::State::finished;
    if (entry.errorNumber != 0) {
        entry.kind = TraversalEntry::Kind::noStatus;
    } else if (entry.status.type == FileType::directory) {
        entry.kind = TraversalEntry::Kind::directory;
        entry.hasFolder = !entry.status.isDataless;
    }
    if (entry.hasFolder) {
        Folder& folder = *piece->folders.emplace_back(std::make_unique<Folder>());
        folder.parent = top_.get();
        folder.name = piece->names.data();
        folder.inode = entry.status.inode;
        folder.device = entry.status.device;
        folder.mount = mount;
        folder.pathLength = root.size();
        folder.notEntered = notEntered_.below.empty() ? nullptr : &notEntered_;
        if (filter_ != nullptr) folder.place = filter_->root();
        top_->foldersToOpen = 1;
        first_ = &folder;
        waiting_ = 1;
    }
    top_->ready.push_back(std::move(piece));
}

ReadAhead::~ReadAhead() {
    std::vector<std::unique_ptr<Folder>> all = std::move(orphans_);
    all.push_back(std::move(top_));
    discard(std::move(all));
}

std::unique_ptr<FolderPiece> ReadAhead::nextPiece(Folder& folder, std::size_t releasedBytes) {
    Lock lock{mutex_};
    heldBytes_ -= releasedBytes;
    if (isPaused_ && heldBytes_ < mostHeldBytes / 4 * 3) {
        isPaused_ = false;
        workerWakes_.notify_all();
    }
    int failures = 0;
    while (!isStopped()) {
        if (!folder.ready.empty()) {
            auto piece = std::move(folder.ready.front());
            folder.ready.erase(folder.ready.begin());
            folder.isLastPiece = folder.ready.empty() && folder.state == Folder::State::finished;
            return piece;
        }
        if (folder.state == Folder::State::finished) {
            folder.isLastPiece = true;
            return nullptr;
        }
        if (folder.state == Folder::State::reading) {
            wanted_ = &folder;
            walkWakes_.wait(lock);
            wanted_ = nullptr;
            continue;
        }
        if (!folder.isReadAhead) putFirst(folder);
        ReadingTask task = begin(folder);
        lock.unlock();
        ReadingResult result = ownReader_.read(task, isStopped_);
        lock.lock();
        hasReturned(task);
        if (result.lacksDescriptors && failures < 2) {
            // First what this walk keeps open is closed, then its workers come back with what they hold. If there is
            // still no descriptor, others have them all, and the folder can't be read.
            ++failures;
            giveBack(folder);
            isAlone_ = true;
            mostKeptOpen_ = fewKeptOpen;
            mostHeldOpen_ = fewHeldOpen;
            letGoOfAll();
            result = {};
            closeDropped(lock);
            walkWaitsForAll_ = failures == 2;
            while (walkWaitsForAll_ && reading_ > 0 && !isStopped()) walkWakes_.wait(lock);
            walkWaitsForAll_ = false;
            continue;
        }
        publish(folder, result);
        closeDropped(lock);
    }
    return nullptr;
}

/// What a worker does until the walk ends: it reads the first folder that waits, without the lock, and hands in what it
/// found. `self` keeps everything alive for one that is stuck in a system call when the walk is long gone.
void ReadAhead::work(const std::shared_ptr<ReadAhead>& self) {
    ReadAhead& all = *self;
    FolderReader reader{all.system_->source()};
    Lock lock{all.mutex_};
    while (!all.isStopped() && !all.isAlone_) {
        const bool isFull = all.heldBytes_ >= mostHeldBytes;
        Folder* folder = isFull ? nullptr : all.firstWaiting();
        if (folder == nullptr) {
            // For want of work it is woken by who finds some; for want of memory by the walk, when it has released
            // pieces.
            all.isPaused_ = all.isPaused_ || isFull;
            ++all.idleWorkers_;
            all.workerWakes_.wait(lock);
            --all.idleWorkers_;
            continue;
        }
        ReadingTask task = all.begin(*folder);
        all.callForWorkers();
        lock.unlock();
        ReadingResult result = reader.read(task, all.isStopped_);
        lock.lock();
        all.hasReturned(task);
        if (result.lacksDescriptors && !folder->isAbandoned) {
            all.isAlone_ = true;
            all.giveBack(*folder);
        } else {
            all.publish(*folder, result);
        }
        all.closeDropped(lock);
    }
    --all.workers_;
    all.workerWakes_.notify_all();
}

void ReadAhead::stop() noexcept {
    // Under the lock, so that no thread is between its look at the flag and its wait.
    const Lock lock{mutex_};
    isStopped_.store(true, std::memory_order_release);
    workerWakes_.notify_all();
    walkWakes_.notify_all();
}

void ReadAhead::abandon(std::unique_ptr<Folder> folder) {
    std::vector<std::unique_ptr<Folder>> dead;
    Lock lock{mutex_};
    if (!folder->isOpened) hasOpened(*folder);
    std::vector<std::unique_ptr<Folder>> left;
    left.push_back(std::move(folder));
    while (!left.empty()) {
        std::unique_ptr<Folder> next = std::move(left.back());
        left.pop_back();
        if (next == nullptr) continue;  // the walk has been through it
        if (next->before != nullptr || next->after != nullptr || first_ == next.get()) removeFromOrder(*next);
        if (next->isHeldOpen) --heldOpen_;
        next->isHeldOpen = false;
        letGo(*next);
        if (next->piece != nullptr) next->ready.push_back(std::move(next->piece));
        for (auto& piece : next->ready) {
            heldBytes_ -= piece->bytes;
            std::move(piece->folders.begin(), piece->folders.end(), std::back_inserter(left));
        }
        next->ready.clear();
        if (next->state != Folder::State::reading) {
            dead.push_back(std::move(next));
            continue;
        }
        // A thread is at it, and will come back to it: it stays until then, and whoever reads it frees it.
        next->isAbandoned = true;
        next->parent = nullptr;
        orphans_.push_back(std::move(next));
    }
    closeDropped(lock);
}

/// The walk follows the same order, so what waits first is what it needs first. At most as many folders as there are
/// threads are being read before it.
Folder* ReadAhead::firstWaiting() const noexcept {
    Folder* folder = waiting_ > 0 ? first_ : nullptr;
    while (folder != nullptr && folder->state != Folder::State::waiting) folder = folder->after;
    return folder;
}

/// Marks the folder as being read and says how: from its nearest open ancestor.
ReadingTask ReadAhead::begin(Folder& folder) {
    folder.state = Folder::State::reading;
    if (folder.isReadAhead) --waiting_;
    ++reading_;
    ReadingTask task;
    task.folder = &folder;
    task.crossing = crossing_;
    task.filter = filter_.get();
    task.mostEntries = mostEntriesInFolder_ - folder.entriesRead;
    task.isWhole = !folder.isHeldOpen && heldOpen_ >= mostHeldOpen_;
    if (folder.isHeldOpen) {
        task.start = folder.descriptor;
        return task;
    }
    std::vector<std::size_t> stillNeeded;  // steps at whose folders more folders are to be opened
    for (Folder* step = &folder; step != nullptr && step->name != nullptr; step = step->parent) {
        if (step->descriptor != nullptr) {
            touch(*step);
            task.start = step->descriptor;
            break;
        }
        if (step != &folder && step->foldersToOpen > 0) stillNeeded.push_back(task.steps.size());
        task.steps.push_back({.name = step->name, .inode = step->inode, .device = step->device, .mount = step->mount});
        task.steps.back().keepFor = step;
    }
    // `stillNeeded` begins with the parent, the deepest: it is kept, and then those at twice the distance each time.
    std::vector<bool> isKept(task.steps.size(), false);
    const std::size_t mostKept = isReopening_ || isAlone_ ? 1 : mostKeptOpen_ - 1;
    std::size_t kept = 0;
    for (std::size_t distance = 1; distance <= stillNeeded.size() && kept < mostKept; distance *= 2, ++kept) {
        isKept[stillNeeded[distance - 1]] = true;
    }
    task.isLongWay = kept > 1;
    isReopening_ = isReopening_ || task.isLongWay;
    for (std::size_t index = 0; index < task.steps.size(); ++index) {
        if (!isKept[index]) task.steps[index].keepFor = nullptr;
    }
    std::reverse(task.steps.begin(), task.steps.end());
    return task;
}

/// A thread is back from its system calls, with or without a result.
void ReadAhead::hasReturned(ReadingTask& task) {
    --reading_;
    if (walkWaitsForAll_ && reading_ == 0) walkWakes_.notify_all();
    if (task.isLongWay) isReopening_ = false;
    if (task.start != nullptr) dropped_.push_back(std::move(task.start));
}

/// Takes back `begin`: another attempt will be made.
void ReadAhead::giveBack(Folder& folder) noexcept {
    folder.state = Folder::State::waiting;
    if (folder.isReadAhead) ++waiting_;
    if (wanted_ == &folder) walkWakes_.notify_all();
}

/// Makes the result part of the tree and puts the folders found into the reading order.
void ReadAhead::publish(Folder& folder, ReadingResult& result) {
    if (folder.isAbandoned) {
        // The walk gave it up while it was being read: nobody will ask for what was found.
        const auto self =
            std::find_if(orphans_.begin(), orphans_.end(), [&](auto& orphan) { return orphan.get() == &folder; });
        std::vector<std::unique_ptr<Folder>> dead;
        dead.push_back(std::move(*self));
        orphans_.erase(self);
        discard(std::move(dead));
        return;
    }
    for (auto& [ancestor, descriptor] : result.kept) {
        if (ancestor->foldersToOpen > 0 && ancestor->descriptor == nullptr) keepOpen(*ancestor, std::move(descriptor));
    }
    if (!folder.isOpened) hasOpened(folder);
    if (result.piece != nullptr) {
        heldBytes_ += result.piece->bytes;
        folder.entriesRead += result.piece->entries.size();
        for (const auto& found : result.piece->folders) {
            if (found->state != Folder::State::waiting) continue;
            ++folder.foldersToOpen;
            if (!found->isReadAhead) continue;
            insertBefore(folder, *found);
            ++waiting_;
        }
        folder.ready.push_back(std::move(result.piece));
    }
    if (result.isFinished) {
        folder.state = Folder::State::finished;
        folder.errorNumber = result.errorNumber;
        if (folder.isReadAhead) removeFromOrder(folder);
        if (folder.isHeldOpen) --heldOpen_;
        if (std::exchange(folder.isHeldOpen, false)) folder.descriptor = nullptr;
        if (folder.foldersToOpen > 0 && result.descriptor != nullptr) keepOpen(folder, std::move(result.descriptor));
    } else {
        folder.state = Folder::State::waiting;
        if (folder.isReadAhead) ++waiting_;
        if (!folder.isHeldOpen) ++heldOpen_;
        folder.isHeldOpen = true;
        folder.descriptor = std::move(result.descriptor);
    }
    if (result.descriptor != nullptr) dropped_.push_back(std::move(result.descriptor));
    if (wanted_ == &folder) walkWakes_.notify_all();
    callForWorkers();
}

/// Wakes a worker, or starts one more, when there is more to read than the calling thread will take itself.
void ReadAhead::callForWorkers() {
    if (waiting_ < 2 || isAlone_ || isStopped() || heldBytes_ >= mostHeldBytes) return;
    if (idleWorkers_ > 0) {
        workerWakes_.notify_one();
        return;
    }
    if (workers_ == mostWorkers_) return;
    try {
        std::thread{work, shared_from_this()}.detach();
        ++workers_;
    } catch (const std::system_error&) {
        // No thread to be had: those that are there do the work.
        mostWorkers_ = workers_;
    }
}

/// Puts a folder that was found into the order, right before the one that holds it or what is left of that one.
void ReadAhead::insertBefore(Folder& place, Folder& folder) noexcept {
    folder.before = place.before;
    folder.after = &place;
    (place.before != nullptr ? place.before->after : first_) = &folder;
    place.before = &folder;
}

/// The walk enters a folder that was left out of the order. All that comes before it has been walked already.
void ReadAhead::putFirst(Folder& folder) noexcept {
    folder.isReadAhead = true;
    folder.after = first_;
    if (first_ != nullptr) first_->before = &folder;
    first_ = &folder;
    ++waiting_;
}

/// Takes a folder out of the order that is read, or that nobody wants any more.
void ReadAhead::removeFromOrder(Folder& folder) noexcept {
    if (folder.state == Folder::State::waiting) --waiting_;
    (folder.before != nullptr ? folder.before->after : first_) = folder.after;
    if (folder.after != nullptr) folder.after->before = folder.before;
    folder.before = folder.after = nullptr;
}

/// Makes the folder the newest of those that are kept open; the oldest ones go where there are too many.
void ReadAhead::keepOpen(Folder& folder, std::shared_ptr<FileDescriptor> descriptor) {
    folder.descriptor = std::move(descriptor);
    folder.older = newest_;
    (newest_ != nullptr ? newest_->newer : oldest_) = &folder;
    newest_ = &folder;
    ++keptOpen_;
    while (keptOpen_ > mostKeptOpen_) letGo(*oldest_);
}

/// The folder was used: it is let go of last.
void ReadAhead::touch(Folder& folder) noexcept {
    if (folder.isHeldOpen || newest_ == &folder) return;
    (folder.older != nullptr ? folder.older->newer : oldest_) = folder.newer;
    folder.newer->older = folder.older;
    folder.older = newest_;
    folder.newer = nullptr;
    newest_->newer = &folder;
    newest_ = &folder;
}

/// Gives the folder's descriptor up. It is closed later, without the lock; the folder can be opened again from above.
void ReadAhead::letGo(Folder& folder) {
    if (folder.descriptor == nullptr) return;
    dropped_.push_back(std::move(folder.descriptor));
    folder.descriptor = nullptr;
    if (folder.older == nullptr && folder.newer == nullptr && oldest_ != &folder) return;  // it was held open
    (folder.older != nullptr ? folder.older->newer : oldest_) = folder.newer;
    (folder.newer != nullptr ? folder.newer->older : newest_) = folder.older;
    folder.older = folder.newer = nullptr;
    --keptOpen_;
}

/// When the process has no descriptor left: each that is kept may be the one that is needed.
void ReadAhead::letGoOfAll() {
    while (oldest_ != nullptr) letGo(*oldest_);
}

/// The folder needs its parent's descriptor no more.
void ReadAhead::hasOpened(Folder& folder) {
    folder.isOpened = true;
    Folder& parent = *folder.parent;
    --parent.foldersToOpen;
    if (parent.foldersToOpen == 0 && !parent.isHeldOpen) letGo(parent);
}

/// Closing can take long, on a network volume above all, so it happens without the lock.
void ReadAhead::closeDropped(Lock& lock) {
    if (dropped_.empty()) return;
    auto closing = std::exchange(dropped_, {});
    lock.unlock();
    closing.clear();
    lock.lock();
}

}  // namespace KestrelCore
