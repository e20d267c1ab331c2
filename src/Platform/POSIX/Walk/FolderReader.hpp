#pragma once

#include "Platform/POSIX/Walk/Folder.hpp"
#include "Platform/POSIX/Walk/FolderSource.hpp"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace KestrelCore {

/// One folder to pass through on the way down to the one that is read.
struct OpeningStep {
    std::string name;         ///< relative to the step before; a path where there is nothing open to start from
    std::uint64_t inode = 0;  ///< what must be found there, with the two that follow
    std::uint64_t device = 0;
    std::uint64_t mount = 0;    ///< 0 when it isn't known
    Folder* keepFor = nullptr;  ///< not null: hand the descriptor over to this folder
};

/// What to read, complete in itself: the reader touches no state that other threads change.
struct ReadingTask {
    Folder* folder = nullptr;
    std::shared_ptr<FileDescriptor> start;    ///< null: the first step is a path. Without steps: `folder` itself
    std::vector<OpeningStep> steps;           ///< ends with `folder`; empty when it is open already
    std::size_t mostEntries = 0;              ///< what the folder may still list
    const TraversalFilter* filter = nullptr;  ///< null: nothing is left out
    MountCrossing crossing = MountCrossing::none;
    bool isWhole = false;    ///< read to the end, whatever that takes
    bool isLongWay = false;  ///< more than the folder's own parent is kept open on the way
};

struct ReadingResult {
    std::shared_ptr<FileDescriptor> descriptor;  ///< null when the folder could not be opened
    std::vector<std::pair<Folder*, std::shared_ptr<FileDescriptor>>> kept;
    std::unique_ptr<FolderPiece> piece;  ///< null when there was nothing more
    bool isFinished = false;
    bool lacksDescriptors = false;  ///< not opened since no descriptor was free
    int errorNumber = 0;            ///< why the folder could not be opened or read on
};

/// Opens and reads folders with system calls relative to open folders only. One for each thread: it keeps its buffers.
class FolderReader {
public:
    explicit FolderReader(std::unique_ptr<FolderSource> source) : source_{std::move(source)} {}

    /// Reads the next piece of the task's folder. Ends early, with any result, when `isStopped` becomes true.
    [[nodiscard]] ReadingResult read(const ReadingTask& task, const std::atomic<bool>& isStopped);

private:
    ReadingResult openAndRead(const ReadingTask& task, const std::atomic<bool>& isStopped);
    int open(const ReadingTask& task, ReadingResult& result);
    void add(const ReadingTask& task, int descriptor, const ListedEntry& listed);
    void addLeftOut(std::string_view name, std::uint32_t rule);
    std::unique_ptr<FolderPiece> takePiece();

    std::unique_ptr<FolderSource> source_;
    FolderPiece piece_;  ///< grows to the largest piece; what is handed out is an exact copy
    std::vector<std::size_t> folderEntries_;
};

}  // namespace KestrelCore
