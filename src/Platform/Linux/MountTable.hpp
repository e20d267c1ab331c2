#pragma once

#include "Platform/POSIX/FileDescriptor.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// One line of the table. Paths are raw.
struct Mount {
    std::uint64_t identifier = 0;  ///< what `mountIdentifier` gives for a file on it
    std::string device;            ///< of the file system, as "major:minor"
    std::string root;              ///< the folder of the file system that is shown, from the file system's own top
    std::string point;             ///< where it is shown, absolute
    std::string type;              ///< of the file system; empty when the line does not tell
    std::string source;            ///< what is mounted, such as "/dev/sda1"; any word for what has no device
    std::string options;           ///< of the file system, still escaped

    bool operator==(const Mount&) const = default;
};

/// Where file systems are mounted.
struct MountTable {
    std::vector<Mount> mounts;

    /// Reads the text of /proc/self/mountinfo; lines that are not understood are left out.
    [[nodiscard]] static MountTable parse(std::string_view text);
    /// The mounts that this process sees; empty when the system does not tell.
    [[nodiscard]] static std::optional<MountTable> current();
    /// A field of the table or a value in it without its escapes: a backslash and three octal digits.
    [[nodiscard]] static std::string unescaped(std::string_view field);

    /// Whether something is mounted on `path` (raw, absolute, free of links) or below it.
    [[nodiscard]] bool hasMountAtOrBelow(std::string_view path) const;
    /// Null when there is none with that number.
    [[nodiscard]] const Mount* find(std::uint64_t identifier) const;
};

/// The table for who asks again and again: read at each question, understood anew where it has changed. For one thread.
class MountTableReader {
public:
    /// As `MountTable::current`. Valid until the next question.
    [[nodiscard]] const std::optional<MountTable>& current();

private:
    FileDescriptor file_;
    std::string text_;
    std::optional<MountTable> table_;
};

}  // namespace KestrelCore
