#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Where file systems are mounted, as raw absolute paths.
struct MountTable {
    std::vector<std::string> points;

    /// Reads the text of /proc/self/mountinfo; lines that are not understood are left out.
    [[nodiscard]] static MountTable parse(std::string_view text);
    /// The mounts that this process sees; empty when the system does not tell.
    [[nodiscard]] static std::optional<MountTable> current();

    /// Whether something is mounted on `path` (raw, absolute, free of links) or below it.
    [[nodiscard]] bool hasMountAtOrBelow(std::string_view path) const;
};

/// A number for the mount on which the open file lies; empty when the system does not tell. Tells a bind mount of the
/// same device apart, which a device number can't.
[[nodiscard]] std::optional<std::uint64_t> mountIdentifier(int descriptor);

}  // namespace KestrelCore
