#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Platform/FileStatus.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
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
        error,                ///< something else went wrong with this path
        leftOut  ///< what the walk's filter leaves out, by `rule`; never opened, and neither is what is in it
    };
    Kind kind = Kind::item;
    std::uint32_t level = 0;             ///< 0 for the root, 1 for what is in it, …
    std::string_view name;               ///< raw bytes of the last path component; at level 0 the whole root path
    const FileStatus* status = nullptr;  ///< as `lstat` gave it; null where the kind says so
    int errorNumber = 0;                 ///< errno value where something went wrong; 0 when there is no better reason
    std::uint32_t rule = 0;  ///< of the filter, for `leftOut`; its cache rule stands for all but the tag of one folder
};

/// Decides by name what a walk leaves out. Its calls come from the threads that read ahead, several at once.
class TraversalFilter {
public:
    enum class EntryType : std::uint8_t { folder, other };
    /// What holds in one folder, beside what holds in all of them.
    class Place {
    public:
        virtual ~Place() = default;
    };
    /// Null where nothing holds but that.
    using PlacePointer = std::shared_ptr<const Place>;

    virtual ~TraversalFilter() = default;

    [[nodiscard]] virtual PlacePointer root() const = 0;
    /// The rule by which the entry is left out; empty for one that is taken in.
    [[nodiscard]] virtual std::optional<std::uint32_t> ruleFor(const Place* place, std::string_view name,
                                                               EntryType type) const = 0;
    /// What holds in a folder that is taken in.
    [[nodiscard]] virtual PlacePointer below(const PlacePointer& place, std::string_view name) const = 0;
    /// Set when of each folder below the root with a cache's tag (a regular file CACHEDIR.TAG that begins with the
    /// known signature) only the tag is to be given, and one `leftOut` for the rest.
    [[nodiscard]] virtual std::optional<std::uint32_t> cacheRule() const = 0;
};

/// Whether a walk goes on into what is mounted below its root.
enum class MountCrossing : std::uint8_t {
    none,
    exceptKernel,  ///< but not into file systems that show what the kernel knows
    all
};

/// Another file system that a walk has entered.
struct TraversalMount {
    std::string path;  ///< raw
    std::string kind;  ///< such as "ext4"; empty when unknown
    bool isRemote = false;
};

/// A walk over one folder tree in pre-order: a directory, then its content in the order in which the file system lists
/// it, then the end of the directory. Physical: links are returned as links and never followed. Stays on the root's
/// device, and on Linux on the root's mount: a mount point gives `directory` and at once `directoryEnd`, its content is
/// not entered; with `MountCrossing` it is, unless what is mounted there is a folder that the walk comes to elsewhere.
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

    /// The other file systems that were entered so far.
    [[nodiscard]] virtual std::vector<TraversalMount> entered() const { return {}; }
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
    std::shared_ptr<const TraversalFilter> filter{};  ///< null: nothing is left out
    MountCrossing crossing = MountCrossing::none;
};

/// A walk could not be opened at all: null.
using TraversalFactory = std::function<std::unique_ptr<Traversal>(const TraversalOptions&)>;

/// The walk of this system. A root that is missing gives one `noStatus` entry, not a failure to open.
[[nodiscard]] std::unique_ptr<Traversal> openTraversal(const TraversalOptions& options);

}  // namespace KestrelCore
