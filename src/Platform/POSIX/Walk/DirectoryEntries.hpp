#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <string_view>

namespace KestrelCore {

/// One name in a folder, as the kernel lists it.
struct ListedEntry {
    std::string_view name;  ///< raw bytes, followed by a NUL
    std::uint64_t inode = 0;
    bool isFolder = false;         ///< said to be one; false also where the file system does not tell
    bool isOfUnknownType = false;  ///< the file system does not tell
};

/// Lists open folders: piece by piece, and within a piece entry by entry.
///
///     while (listing.readPiece(folder))
///         while (const ListedEntry* entry = listing.next()) …
///     if (listing.errorNumber() != 0) …
///
/// The place in a folder is its descriptor's, so one listing serves many folders in turn, and a folder can be left
/// after any piece and gone on with by another listing.
class DirectoryEntries {
public:
    /// More names than folders hold whose names are kept in memory all at once.
    static constexpr std::size_t manyEntries = std::size_t{1} << 20;

    /// Gives at most `mostEntries`; one more is the error EOVERFLOW. Some bound everybody needs who keeps what is
    /// given: a file system can list a folder without end.
    explicit DirectoryEntries(std::size_t mostEntries = std::numeric_limits<std::size_t>::max());

    /// Reads on in the open folder. True when there is more for `next`, maybe nothing but "." and ".."; false at the
    /// end, also that of a folder which was removed meanwhile, and on failure.
    [[nodiscard]] bool readPiece(int folder);
    /// The next entry of the piece, without "." and ".."; null after the last. Valid until the next call.
    [[nodiscard]] const ListedEntry* next();
    /// The errno value that ended the listing; 0 when it is complete.
    [[nodiscard]] int errorNumber() const { return errorNumber_; }

private:
    std::unique_ptr<char[]> buffer_;
    std::size_t filled_ = 0;
    std::size_t offset_ = 0;  ///< of the entry after the current one
    std::size_t entriesLeft_;
    int errorNumber_ = 0;
    ListedEntry entry_;
};

}  // namespace KestrelCore
