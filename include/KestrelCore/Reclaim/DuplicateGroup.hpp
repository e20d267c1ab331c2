#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What becomes of one name in a group of equal files, and why.
enum class DuplicateStanding : std::uint8_t {
    kept,            ///< the one that stays, by the rule that was asked for
    spare,           ///< may go
    sameFile,        ///< another name of the kept file: there is nothing to gain
    namedElsewhere,  ///< the file has names that don't go, so that nothing would come free
    sharesBlocks,    ///< other files stand in the same blocks, so that nothing would come free
    takesNoRoom,     ///< nothing but a hole
    inKeptFolder,    ///< lies in the folder in which everything stays
    isProtected,     ///< must not be taken away; `reason` says why
};

/// One name of a group.
struct DuplicateFile {
    Text path;
    FileIdentity identity;
    std::optional<Date> modifiedAt;
    std::int64_t allocatedBytes = 0;  ///< on disk, of the file itself
    /// What comes free when this name goes and all that may go of its group: of a file with several names in the group
    /// the first has it all.
    std::int64_t freedBytes = 0;
    DuplicateStanding standing = DuplicateStanding::spare;
    std::optional<Text> reason;  ///< a finished sentence, of what is protected
};

/// Why the kept file of a group is that one.
enum class DuplicateReason : std::uint8_t {
    folder,  ///< lies in the folder that was named
    oldest,  ///< was modified before all others
    newest,  ///< after all others
    path,    ///< of those that are equally old the one with the shortest path
};

/// Files of which hashes say that they are equal. Two files that differ may have been made so that they look equal
/// here: whoever does something about a group has them compared (`DuplicateComparison`), or lets the system do so.
struct DuplicateGroup {
    std::int64_t bytes = 0;  ///< length of each
    /// The kept one first, then what may go, then what stays, each by path. At least two different files.
    std::vector<DuplicateFile> files;
    DuplicateReason keptFor = DuplicateReason::oldest;
    std::int64_t reclaimableBytes = 0;  ///< comes free when all goes that may: never the length of holes
    /// Comes free when all of them get the blocks of the kept one; 0 where the file system can't.
    std::int64_t shareableBytes = 0;

    [[nodiscard]] const DuplicateFile& kept() const { return files.front(); }
};

/// What a search for duplicates has found.
struct KESTRELCORE_EXPORT DuplicateReport {
    std::vector<DuplicateGroup> groups;  ///< most bytes that come free first, then by the path of the kept one
    std::int64_t reclaimableBytes = 0;
    std::int64_t shareableBytes = 0;
    std::int64_t files = 0;      ///< that were looked at: large enough and on the disk, each name counted
    std::int64_t linkNames = 0;  ///< of these, further names of a file that was counted: nothing is gained by them
    std::int64_t bytesRead = 0;
    /// Files that are no longer as the scan saw them, or changed while they were read. They are in no group.
    std::int64_t changed = 0;
    std::int64_t unreadable = 0;
    std::vector<ScanIssue> issues;  ///< of unreadable ones, the first `mostIssues`

    static constexpr std::size_t mostIssues = 1000;
};

}  // namespace KestrelCore
