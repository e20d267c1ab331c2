#pragma once

#include "Platform/POSIX/Walk/Folder.hpp"
#include "Platform/POSIX/Walk/FolderReader.hpp"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace KestrelCore {

/// Reads folders before a walk needs them, in the order in which it will need them.
///
/// One thread, the walk's, calls; the threads that read ahead are owned here and share the object, so that it outlives
/// one that is stuck in a system call. Held memory and open descriptors are bounded, see the source.
class ReadAhead : public std::enable_shared_from_this<ReadAhead> {
public:
    /// Looks at the root, which costs one system call on this thread.
    ReadAhead(const TraversalOptions& options, std::shared_ptr<const WalkSystem> system);
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    ~ReadAhead();

    /// A folder that does not exist and whose only entry is the root, named by its path.
    [[nodiscard]] Folder& top() noexcept { return *top_; }

    /// Goes on to the folder's next piece: null after the last one, or when the reading was stopped. Sets `isLastPiece`
    /// and, with it, `errorNumber`. Reads on this thread when no other has begun to, else waits for that one.
    /// `releasedBytes`: the size of the pieces that the walk has freed since the last call.
    [[nodiscard]] std::unique_ptr<FolderPiece> nextPiece(Folder& folder, std::size_t releasedBytes);

    /// Drops a folder that the walk does not enter, or leaves early, with all that was read of it.
    void abandon(std::unique_ptr<Folder> folder);

    /// Ends all reading for good and wakes who waits. Any thread; waits for no system call.
    void stop() noexcept;
    [[nodiscard]] bool isStopped() const noexcept { return isStopped_.load(std::memory_order_acquire); }

private:
    using Lock = std::unique_lock<std::mutex>;

    static void work(const std::shared_ptr<ReadAhead>& self);
    Folder* firstWaiting() const noexcept;
    ReadingTask begin(Folder& folder);
    void publish(Folder& folder, ReadingResult& result);
    void hasReturned(ReadingTask& task);
    void giveBack(Folder& folder) noexcept;
    void callForWorkers();
    void putFirst(Folder& folder) noexcept;
    void insertBefore(Folder& place, Folder& folder) noexcept;
    void removeFromOrder(Folder& folder) noexcept;

    void keepOpen(Folder& folder, std::shared_ptr<FileDescriptor> descriptor);
    void touch(Folder& folder) noexcept;
    void letGo(Folder& folder);
    void letGoOfAll();
    void hasOpened(Folder& folder);
    void closeDropped(Lock& lock);

    const std::shared_ptr<const WalkSystem> system_;
    std::unique_ptr<Folder> top_;
    NotEntered notEntered_;
    std::shared_ptr<const TraversalFilter> filter_;
    const MountCrossing crossing_;
    const std::size_t mostEntriesInFolder_;
    FolderReader ownReader_;  ///< of the walk's thread
    std::atomic<bool> isStopped_ = false;

    std::mutex mutex_;
    std::condition_variable workerWakes_;
    std::condition_variable walkWakes_;

    // Guarded by `mutex_`.
    Folder* first_ = nullptr;  ///< the reading order
    std::size_t waiting_ = 0;  ///< folders in the order that no thread is at
    std::size_t reading_ = 0;  ///< threads in a system call, or about to be
    std::size_t workers_ = 0;
    std::size_t mostWorkers_ = 0;
    std::size_t idleWorkers_ = 0;
    bool isPaused_ = false;     ///< some worker waits for memory to be released
    bool isReopening_ = false;  ///< a reader is on a long way down and keeps some of the folders that it passes
    bool isAlone_ = false;      ///< descriptors are scarce: only the walk's own thread reads
    std::size_t heldBytes_ = 0;
    Folder* oldest_ = nullptr;  ///< the folders kept open
    Folder* newest_ = nullptr;
    std::size_t keptOpen_ = 0;
    std::size_t mostKeptOpen_ = 0;
    std::size_t heldOpen_ = 0;  ///< folders between two pieces
    std::size_t mostHeldOpen_ = 0;
    const Folder* wanted_ = nullptr;                        ///< the walk waits for it
    bool walkWaitsForAll_ = false;                          ///< the walk waits for every reader to come back
    std::vector<std::shared_ptr<FileDescriptor>> dropped_;  ///< to be closed outside the lock
    std::vector<std::unique_ptr<Folder>> orphans_;          ///< abandoned while a thread is at them
};

}  // namespace KestrelCore
