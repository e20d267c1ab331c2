#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The names in one folder as the file system lists them, packed into one buffer: a million of them cost no allocation
/// each. "." and ".." are left out.
class DirectoryNames {
public:
    enum class Kind : std::uint8_t { directory, other, unknown };  ///< links are `other`, also links to folders
    struct Entry {
        std::string_view name;  ///< raw bytes, followed by a NUL; valid while the list is unchanged
        Kind kind;
    };

    /// Takes over `descriptor` in every case. The errno value that ended the reading, 0 after a complete one; what was
    /// read before stays.
    [[nodiscard]] int read(int descriptor);

    [[nodiscard]] std::size_t size() const { return offsets_.size(); }
    [[nodiscard]] Entry operator[](std::size_t index) const;

private:
    std::string bytes_;  ///< per entry: its kind, its name, a NUL
    std::vector<std::size_t> offsets_;
};

/// One item below the root of a walk.
struct WalkedItem {
    std::string_view path;  ///< raw bytes below the root, without leading slash; valid during the call
    bool isDirectory = false;
    std::optional<std::int64_t> allocatedBytes;  ///< blocks × 512; absent for a directory or when it can't be told
};

/// Visits everything below the folder `root` in pre-order: an item, then what it contains, then its later siblings, in
/// the file system's order. Relative to descriptors and physical: links are returned and never followed, also not at
/// `root`; stays on one device; unreadable folders are skipped. Any depth: never more than some thirty descriptors.
/// `visit` returns false to stop. Nothing happens when `root` is no folder.
void walkBelow(const std::string& root, const std::function<bool(const WalkedItem&)>& visit);

/// The allocated bytes of a status, blocks × 512; absent for claims that no disk can mean (above 2^50 or below 0).
[[nodiscard]] std::optional<std::int64_t> plausibleAllocatedBytes(std::int64_t blocks);

}  // namespace KestrelCore
