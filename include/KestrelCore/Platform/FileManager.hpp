#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What an item must still be when it is removed: its device, its inode and the type bits of its mode. The type is
/// asked for too because a freed inode number is given out again at once, perhaps to a folder where a file was.
struct ExpectedItem {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint32_t fileTypeBits = 0;  ///< `st_mode & S_IFMT` as validated; 0 when only the identity is known

    bool operator==(const ExpectedItem&) const = default;
};

/// The system's file operations in the form the library needs them. Failures are `PlatformError` of the file manager's
/// domain with the POSIX error beneath. Every call from any thread; every call may block on the disk.
class KESTRELCORE_EXPORT FileManager {
public:
    virtual ~FileManager();

    /// The real file system of this machine; one shared object.
    [[nodiscard]] static std::shared_ptr<FileManager> standard();

    /// Whether this process may read the item; follows links.
    [[nodiscard]] virtual bool isReadable(const Text& path) const = 0;
    /// Whether an item exists; follows links, so a dangling link does not.
    [[nodiscard]] virtual bool exists(const Text& path) const = 0;
    /// The names in a folder, unsorted, without "." and "..".
    [[nodiscard]] virtual std::vector<Text> contentsOfDirectory(const Text& path) const = 0;
    /// The items in a folder, unsorted; folders come with a trailing slash in the URL, links to folders without.
    /// `skipsHidden` leaves out names that begin with ".".
    [[nodiscard]] virtual std::vector<URL> contentsOfDirectory(const URL& url, bool skipsHidden) const = 0;
    /// Walks everything below `url` (not itself), hidden items included, links never followed, one device only;
    /// unreadable folders are skipped. Yields nothing for a plain file, a missing path or a link to a folder. `visit`
    /// gets each item's URL and its allocated bytes (absent for directories, 0 for a further hard link to a file that
    /// it got before) and returns false to stop. False when there is no such enumeration at all.
    virtual bool
    enumerate(const URL& url,
              const std::function<bool(const URL&, std::optional<std::int64_t> allocatedBytes)>& visit) const = 0;
    /// The sum of what `enumerate` would give for everything below `url`; empty when there is no such enumeration. What
    /// can't be measured counts 0. Stops the process when the sum overflows. An implementation may do without making
    /// the URLs.
    [[nodiscard]] virtual std::optional<std::int64_t> allocatedBytesBelow(const URL& url) const;
    /// Allocated bytes of the item itself (blocks × 512; links are not followed); absent for a directory or when it
    /// can't be read.
    [[nodiscard]] virtual std::optional<std::int64_t> allocatedBytes(const URL& url) const = 0;
    /// Creates a folder and the missing ones above it; an existing folder, or a link to one, is a success.
    virtual void createDirectory(const URL& url) = 0;

    /// Moves an item to the Trash and returns its new place, where the system tells it. Never copies, never removes. An
    /// item that is not (or, just moved, turns out not to be) as `expected` stays at its place: `fileWriteUnknown`,
    /// whose sentence says that it changed, and where it is if it could not be put back. After a cancellation, which
    /// another thread may make, it stays too: the POSIX error beneath is then ECANCELED.
    virtual std::optional<URL> trashItem(const URL& url, const std::optional<ExpectedItem>& expected = std::nullopt,
                                         const CancellationToken& cancellation = {}) = 0;
    /// Removes an item, a folder with everything in it, for good: never through a link, never across a mount. The
    /// first failure stops and is thrown; what was removed stays removed. An item that is not as `expected` stays,
    /// with the same failure as of `trashItem`. A cancellation stops like a failure (ECANCELED beneath): what is left
    /// has its old place, and the sentence tells whether something is gone. Returns a finished sentence about what the
    /// removal had to leave beside the item's place although the item is gone; mostly there is none.
    virtual std::optional<Text> removeItem(const URL& url, const std::optional<ExpectedItem>& expected = std::nullopt,
                                           const CancellationToken& cancellation = {}) = 0;
    /// Stand around the calls of one request, in pairs, from any threads: an implementation may put off until the end
    /// what is done once for all of them as well, such as noting the sizes of trashed folders. Calls outside of a
    /// request do everything themselves. Without effect unless overridden.
    virtual void beginRequest();
    virtual void endRequest();

    /// The current user's home directory: standardised, no trailing slash. Throws where its name is not UTF-8.
    [[nodiscard]] virtual Text homeDirectory() const = 0;
};

}  // namespace KestrelCore
