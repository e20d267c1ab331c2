#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// One name in a folder, as the kernel lists it.
struct RawEntry {
    std::string_view name;  ///< raw bytes, followed by a NUL; valid during the call
    std::uint64_t inode = 0;
    bool isFolder = false;  ///< said to be one; false also where the file system does not tell
};

/// Reads the next piece of the open folder's listing, without "." and "..". `buffer` keeps its memory between calls.
/// Nothing is visited at the end. 0, or the errno value.
template <typename Visit>
[[nodiscard]] int readEntries(int folder, std::vector<char>& buffer, Visit visit);

namespace RawListing {

/// Bytes read into `buffer`; 0 at the end, also of a folder that was removed meanwhile; negated errno on failure.
[[nodiscard]] long fill(int folder, std::vector<char>& buffer);
/// The entry at `offset`, which is moved behind it.
[[nodiscard]] RawEntry next(const std::vector<char>& buffer, std::size_t& offset);

}  // namespace RawListing

template <typename Visit>
int readEntries(int folder, std::vector<char>& buffer, Visit visit) {
    // A piece of nothing but "." and ".." is not the end.
    for (bool hasVisited = false; !hasVisited;) {
        const long filled = RawListing::fill(folder, buffer);
        if (filled < 0) return static_cast<int>(-filled);
        if (filled == 0) return 0;
        for (std::size_t offset = 0; offset < static_cast<std::size_t>(filled);) {
            const RawEntry entry = RawListing::next(buffer, offset);
            if (entry.name == "." || entry.name == "..") continue;
            hasVisited = true;
            visit(entry);
        }
    }
    return 0;
}

}  // namespace KestrelCore
