#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Platform/FileStatus.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// One step of a walk. Valid until the next call of `Traversal::next`.
struct TraversalEntry {
    enum class Kind : std::uint8_t {
        directory,            ///< a directory before its content; `status` is set
        directoryEnd,         ///< the same directory after its content; `status` is null
        item,                 ///< a file, link, dangling link, socket, FIFO or device; `status` is set
        unreadableDirectory,  ///< stands in the place of `directoryEnd` when the content could not be read, or not to
                              ///< its end; what could be read came before
        noStatus,             ///< an entry that could not be looked at, or that makes absurd claims; no record
        error                 ///< something else went wrong with this path
    };
    Kind kind = Kind::item;
    std::uint32_t level = 0;             ///< 0 for the root, 1 for what is in it, …
    std::string_view name;               ///< raw bytes of the last path component; at level 0 the whole root path
    const FileStatus* status = nullptr;  ///< as `lstat` gave it; null where the kind says so
    int errorNumber = 0;                 ///< errno value for the last three kinds; 0 when there is no better reason
};

/// A walk over one folder tree in pre-order: a directory, then its content in the order in which the file system lists
/// it, then the end of the directory. Physical: links are returned as links and never followed. Stays on the root's
/// device, and on Linux on the root's mount: a mount point gives `directory` and at once `directoryEnd`, its content is
/// not entered.
///
/// The order and the entries are those of `fts` with a null comparator: the same on every run over an unchanged tree,
/// however many threads read ahead. Where the tree changes under the walk, an entry is as it was when its folder was
/// listed or is an issue; a folder that was moved away or replaced before it was opened is `unreadableDirectory` with
/// ENOENT. An entry that claims more than 2^50 allocated bytes, a negative size, or as much as to bring the sum of all
/// entries above 2^62, is `noStatus` with EOVERFLOW, and when it is a directory it is not entered.
///
/// Ends on every file system, also on one whose listings or levels don't: a directory is read up to
/// `mostEntriesInFolder`, a walk goes on up to `mostEntries` and enters no path above `longestTraversedPath`. Beyond
/// them the directory is `unreadableDirectory`, with EOVERFLOW or ENAMETOOLONG. A file that is moved from a folder not
/// yet read into one read later is given at both places, or at neither when it is moved the other way: its identity
/// would not tell, as the inode of a file that is gone serves the next one.
///
/// One thread calls; the implementation may own others, and its destructor does not wait for one that is stuck in a
/// system call. `next` itself can be: it may read on the calling thread.
class Traversal {
public:
    virtual ~Traversal() = default;

    /// The next entry; null at the end or when the walk had to stop (then `errorNumber` is not 0).
    [[nodiscard]] virtual const TraversalEntry* next() = 0;

    /// Only right after a `directory` entry: leaves its content out; its `directoryEnd` still comes next.
    virtual void skipDescendants() = 0;

    /// The errno value that stopped the walk; 0 after a complete one.
    [[nodiscard]] virtual int errorNumber() const = 0;
};

/// The largest path, in bytes, whose directory is entered.
inline constexpr std::size_t longestTraversedPath = std::size_t{1} << 20;

/// What a walk must know before it starts.
struct TraversalOptions {
    std::string root;  ///< absolute standardised path, raw bytes
    std::vector<std::string>
        notEntered;                  ///< absolute paths of directories whose content will be skipped: not read ahead
    CancellationToken cancellation;  ///< ends waiting; `next` then gives null with `errorNumber` ECANCELED
    /// Far more than folders and disks hold that anyone saves a scan of, and few enough that the positions and names of
    /// all of them can be counted in a snapshot.
    std::size_t mostEntriesInFolder = std::size_t{1} << 24;
    std::size_t mostEntries = std::size_t{1} << 26;
};

/// A walk could not be opened at all: null.
using TraversalFactory = std::function<std::unique_ptr<Traversal>(const TraversalOptions&)>;

/// The walk of this system. A root that is missing gives one `noStatus` entry, not a failure to open.
[[nodiscard]] std::unique_ptr<Traversal> openTraversal(const TraversalOptions& options);

}  // namespace KestrelCore
