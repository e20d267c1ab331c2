#pragma once

#include <span>

namespace KestrelCore {

/// `getattrlistbulk` on the open folder with what `BulkAttributes` names, or with the names, types and inodes alone:
/// how many records were put into the buffer, 0 at the end of the folder, below 0 with `errno` set. It goes on from the
/// place of the descriptor.
[[nodiscard]] int listAttributes(int folder, std::span<char> buffer) noexcept;
[[nodiscard]] int listNames(int folder, std::span<char> buffer) noexcept;

/// While it lives, opening what has no data on this disk fails on this thread with EDEADLK; without it the content
/// would be fetched from where it is.
class ContentStaysAway {
public:
    ContentStaysAway() noexcept;
    ContentStaysAway(const ContentStaysAway&) = delete;
    ContentStaysAway& operator=(const ContentStaysAway&) = delete;
    ~ContentStaysAway();

private:
    int before_;  ///< below 0 when the system would not tell
};

}  // namespace KestrelCore
