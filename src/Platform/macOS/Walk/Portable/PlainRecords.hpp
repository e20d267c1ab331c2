#pragma once

#include <cstddef>
#include <string>

namespace KestrelCore {

/// All names of a folder, as the records that `getattrlistbulk` would give, with types and inodes as far as the listing
/// tells them and nothing else: for file systems that can't answer the other call.
struct PlainRecords {
    /// More than this many names are the error EOVERFLOW: they are in memory all at once.
    static constexpr std::size_t mostEntries = std::size_t{1} << 22;

    std::string bytes{};
    std::size_t count = 0;
    int errorNumber = 0;  ///< what ended the listing early; 0 when it is complete

    /// Reads the open folder from its beginning to its end, and leaves its descriptor at a place of its own: who comes
    /// again finds nothing more, and no error. A descriptor that stands anywhere else is at no end that is known here:
    /// nothing is read, and the error is `refusal`, the one that the other call gave.
    [[nodiscard]] static PlainRecords read(int folder, int refusal);
};

}  // namespace KestrelCore
