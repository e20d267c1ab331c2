#pragma once

#include "Platform/FileStatus.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/Traversal.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The folders that are not read ahead, as a tree of names, so that no path has to be put together to find one.
struct NotEntered {
    std::string name;
    bool isNotEntered = false;
    std::vector<NotEntered> below;

    /// What holds below the folder called `folderName`; null when nothing there is left out.
    [[nodiscard]] const NotEntered* find(std::string_view folderName) const noexcept;
    /// The tree of those `paths` that are `root` or lie below it.
    [[nodiscard]] static NotEntered tree(std::string_view root, const std::vector<std::string>& paths);
};

struct Folder;

/// What a folder says about one entry.
struct PieceEntry {
    FileStatus status;
    std::size_t nameOffset = 0;  ///< in the piece's `names`
    int errorNumber = 0;         ///< for an entry without status
    std::uint32_t rule = 0;      ///< of the filter, for an entry that is left out
    std::uint32_t nameLength = 0;
    TraversalEntry::Kind kind = TraversalEntry::Kind::item;  ///< `directory`, `item`, `noStatus` or `leftOut`
    /// A directory that is to be entered; false for all that is no directory, and for a mount point unless the walk
    /// crosses mounts.
    bool hasFolder = false;
    bool isCrossing = false;  ///< another device or mount than the folder's: the walk decides whether to enter it
};

/// A run of a folder's entries in the order in which the file system lists them. Most folders are one piece.
struct FolderPiece {
    std::vector<PieceEntry> entries;
    std::vector<char> names;                       ///< each name ends with a NUL
    std::vector<std::unique_ptr<Folder>> folders;  ///< one for each entry that has one, in order
    std::size_t bytes = 0;                         ///< memory held by all of this

    [[nodiscard]] std::string_view name(const PieceEntry& entry) const noexcept {
        return {names.data() + entry.nameOffset, entry.nameLength};
    }
};

/// A folder that was listed, and is being or will be read. Belongs to the piece of its parent that lists it.
struct Folder {
    enum class State : std::uint8_t {
        waiting,  ///< no thread is at it
        reading,  ///< one thread is, and only it
        finished  ///< read to its end, or as far as that went
    };

    // Fixed after construction.
    Folder* parent = nullptr;    ///< null once the folder is abandoned
    const char* name = nullptr;  ///< ends with a NUL; the path for the root; belongs to the parent's piece
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    std::uint64_t mount = 0;                 ///< 0 when it isn't known
    std::size_t pathLength = 0;              ///< bytes of the absolute path
    std::uint32_t level = 0;                 ///< 0 for the root
    const NotEntered* notEntered = nullptr;  ///< what is left out below; null when nothing is
    TraversalFilter::PlacePointer place;     ///< what the filter has to know of it
    bool isReadAhead = true;                 ///< false: read only when the walk enters it

    // Guarded by the lock of the `ReadAhead`.
    State state = State::waiting;
    bool isOpened = false;                            ///< has been opened once, or that failed for good
    bool isHeldOpen = false;                          ///< is between two pieces, and so can't be closed
    bool isAbandoned = false;                         ///< dropped while a thread is at it
    int errorNumber = 0;                              ///< why it was not read to its end
    std::uint32_t foldersToOpen = 0;                  ///< folders in it that have not been opened yet
    std::size_t entriesRead = 0;                      ///< of the pieces read so far
    std::shared_ptr<FileDescriptor> descriptor;       ///< for the next piece and `foldersToOpen`; a reader shares it
    std::vector<std::unique_ptr<FolderPiece>> ready;  ///< read, and not yet taken by the walk
    Folder* before = nullptr;                         ///< neighbours in the reading order; null outside it
    Folder* after = nullptr;
    Folder* older = nullptr;  ///< neighbours among the folders kept open; null outside of them
    Folder* newer = nullptr;

    // Used by the walk alone.
    std::unique_ptr<FolderPiece> piece;  ///< the piece that it is at
    bool isLastPiece = false;
    std::size_t nextEntry = 0;
    std::size_t nextFolder = 0;
};

/// Frees folders with all that is in them, without recursion: a tree can be deeper than the stack.
void discard(std::vector<std::unique_ptr<Folder>> folders);

}  // namespace KestrelCore
