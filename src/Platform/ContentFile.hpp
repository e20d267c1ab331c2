#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace KestrelCore {

/// What an open file says of itself. Whoever reads a file asks before and after: what is read in between is the content
/// of one moment only when `isSameContent` holds.
struct ContentState {
    FileIdentity identity;
    std::uint64_t links = 1;          ///< names of the file
    std::int64_t bytes = 0;           ///< length of the content
    std::int64_t allocatedBytes = 0;  ///< on disk: blocks × 512; of a file with holes less than `bytes`
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::int64_t changedSeconds = 0;  ///< of anything about the file; no program can set it
    std::int64_t changedNanoseconds = 0;

    /// Whether nothing was written between two looks. Blocks may have been given to what was written before.
    [[nodiscard]] bool isSameContent(const ContentState& other) const {
        return identity == other.identity && bytes == other.bytes && modifiedSeconds == other.modifiedSeconds &&
               modifiedNanoseconds == other.modifiedNanoseconds && changedSeconds == other.changedSeconds &&
               changedNanoseconds == other.changedNanoseconds;
    }
};

/// How a file is going to be read, for the system to read ahead or not.
enum class ReadingPattern : std::uint8_t { piecemeal, whole };

/// A regular file that was opened to be read. Nothing is written, and where the system lets it be so the time of the
/// last access stays. For one thread at a time; every call may block on the disk.
class ContentFile {
public:
    struct Opening;
    /// Opens the regular file at `path` (raw, absolute). A link, a FIFO, a device or a folder is not opened and not
    /// waited for.
    [[nodiscard]] static Opening open(const std::string& path);

    ContentFile(ContentFile&& other) noexcept;
    ContentFile& operator=(ContentFile&& other) noexcept;
    ~ContentFile();

    /// As it was opened.
    [[nodiscard]] const ContentState& openedState() const { return opened_; }
    /// As it is now; empty when it does not tell.
    [[nodiscard]] std::optional<ContentState> state() const;
    /// Reads into all of `buffer`, less only at the end of the file. Empty, with `errno` set, when it can't be read.
    [[nodiscard]] std::optional<std::size_t> read(std::int64_t offset, std::span<char> buffer) const;
    /// Where at or behind `offset` the next hole ends: `offset` itself when there is data, the length of the file when
    /// nothing but a hole follows or where the file has been cut off meanwhile.
    [[nodiscard]] std::int64_t nextData(std::int64_t offset) const;
    /// Where at or behind `offset`, at which there is data, the next hole begins; the length of the file at the latest.
    [[nodiscard]] std::int64_t nextHole(std::int64_t offset) const;
    void expect(ReadingPattern pattern) const;
    /// Has the system read a part ahead, if it likes.
    void readAhead(std::int64_t offset, std::int64_t bytes) const;

    /// For what else the platform does with an open file.
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    ContentFile(int descriptor, const ContentState& opened) : descriptor_{descriptor}, opened_{opened} {}

    int descriptor_;  ///< -1 after a move
    ContentState opened_;
};

/// Either the file, or the errno value that kept it: EINVAL for what is no regular file.
struct ContentFile::Opening {
    std::optional<ContentFile> file;
    int errorNumber = 0;
};

}  // namespace KestrelCore
