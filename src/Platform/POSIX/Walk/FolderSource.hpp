#pragma once

#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/Traversal.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// How an entry hangs on the folder that lists it, beside what its status says.
struct EntryJoint {
    enum class Kind : std::uint8_t {
        byNumbers,   ///< on another mount if its device or mount has another number than the folder's
        mountPoint,  ///< on another mount whatever the numbers say
        sameVolume,  ///< goes on in the same volume whatever the numbers say
        trigger      ///< something would be mounted by going in: never entered
    };
    Kind kind = Kind::byNumbers;
    std::uint64_t mount = 0;  ///< the number of the mount that the entry is on; 0 when it isn't known
};

/// How one thread lists open folders and looks at what is in them; listing as `DirectoryEntries` does it. A folder is
/// not read on once `errorNumber` says that something went wrong, which it may do after some of a piece was given.
class FolderSource {
public:
    virtual ~FolderSource() = default;

    /// Around the opening and reading of one folder, on the thread that does it.
    virtual void begin() {}
    virtual void end() noexcept {}

    [[nodiscard]] virtual bool readPiece(int folder) = 0;
    [[nodiscard]] virtual const ListedEntry* next() = 0;
    [[nodiscard]] virtual int errorNumber() const = 0;
    /// Looks at the entry that `next` gave last, or at any other by its name: 0, or the errno value when that fails; as
    /// `statusAt`.
    [[nodiscard]] virtual int look(int folder, const ListedEntry& entry, FileStatus& status, EntryJoint& joint) = 0;
};

/// A folder below the root of a walk that is on another mount than the folder that holds it.
struct MountCrossingPlace {
    std::string_view path;
    const FileStatus& folder;
    std::uint64_t mount = 0;       ///< 0 when it isn't known
    std::uint64_t mountAbove = 0;  ///< of the folder that holds it
};

/// Which of the file systems that are mounted below a root a walk enters. One thread.
class CrossingPlan {
public:
    virtual ~CrossingPlan() = default;
    /// Absent for one that is not to be entered; else what is, without its path.
    [[nodiscard]] virtual std::optional<TraversalMount> enter(const MountCrossingPlace& place) = 0;
};

/// What a walk asks of the system that it runs on. Any thread.
class WalkSystem {
public:
    virtual ~WalkSystem() = default;
    [[nodiscard]] virtual std::unique_ptr<FolderSource> source() const = 0;
    /// For a walk from `root`, which has that status.
    [[nodiscard]] virtual std::unique_ptr<CrossingPlan> crossingPlan(MountCrossing crossing, const std::string& root,
                                                                     const FileStatus& status) const = 0;
};

}  // namespace KestrelCore
