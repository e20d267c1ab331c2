#include "Platform/Linux/MountTable.hpp"

#include "Platform/Linux/SystemFile.hpp"
#include "Platform/POSIX/DescriptorContents.hpp"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace KestrelCore {

namespace {

constexpr const char* tablePath = "/proc/self/mountinfo";

// The kernel writes a line for each mount, with blanks between the fields; a blank, a tab, a newline or a backslash in
// a name stands there as "\040" and its like. A line that can't be understood is passed over.

bool isOctal(char c) { return c >= '0' && c <= '7'; }

std::string_view takeField(std::string_view& line) {
    const std::string_view field = line.substr(0, line.find(' '));
    line.remove_prefix(std::min(field.size() + 1, line.size()));
    return field;
}

/// "27 1 254:0 /root /point rw,relatime shared:1 - ext4 /dev/vda rw": any number of fields stand before the dash.
std::optional<Mount> mountOf(std::string_view line) {
    Mount mount;
    const std::string_view identifier = takeField(line);
    const auto [end, error] =
        std::from_chars(identifier.data(), identifier.data() + identifier.size(), mount.identifier);
    if (error != std::errc{} || end != identifier.data() + identifier.size()) return std::nullopt;
    takeField(line);  // the mount above it
    mount.device = takeField(line);
    mount.root = MountTable::unescaped(takeField(line));
    const std::string_view point = takeField(line);
    // Nothing can be reached below a mount whose place lies outside of this process's root.
    if (!point.starts_with('/')) return std::nullopt;
    mount.point = MountTable::unescaped(point);
    while (!line.empty() && takeField(line) != "-") continue;
    mount.type = takeField(line);
    mount.source = MountTable::unescaped(takeField(line));
    mount.options = line;
    return mount;
}

}  // namespace

std::string MountTable::unescaped(std::string_view field) {
    std::string result;
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] == '\\' && i + 3 < field.size() && isOctal(field[i + 1]) && isOctal(field[i + 2]) &&
            isOctal(field[i + 3])) {
            result += static_cast<char>((field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0'));
            i += 3;
        } else {
            result += field[i];
        }
    }
    return result;
}

MountTable MountTable::parse(std::string_view text) {
    MountTable table;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (auto mount = mountOf(line)) table.mounts.push_back(std::move(*mount));
    }
    return table;
}

std::optional<MountTable> MountTable::current() {
    const auto text = SystemFile::contents(tablePath);
    if (!text) return std::nullopt;
    return parse(*text);
}

const std::optional<MountTable>& MountTableReader::current() {
    constexpr std::size_t largest = 64U << 20;
    if (!file_.isOpen()) file_ = FileDescriptor{::open(tablePath, O_RDONLY | O_CLOEXEC | O_NONBLOCK)};
    // From its beginning on the kernel writes it anew.
    const bool isAtBeginning = file_.isOpen() && ::lseek(file_.get(), 0, SEEK_SET) == 0;
    auto text = isAtBeginning ? contentsOfDescriptor(file_.get(), largest) : std::nullopt;
    if (!text) {
        file_.close();
        table_.reset();
    } else if (!table_ || *text != text_) {
        table_ = MountTable::parse(*text);
        text_ = std::move(*text);
    }
    return table_;
}

bool MountTable::hasMountAtOrBelow(std::string_view path) const {
    return std::any_of(mounts.begin(), mounts.end(), [path](const Mount& mount) {
        const std::string& point = mount.point;
        return point.starts_with(path) && (point.size() == path.size() || path == "/" || point[path.size()] == '/');
    });
}

const Mount* MountTable::find(std::uint64_t identifier) const {
    const auto found = std::find_if(mounts.begin(), mounts.end(),
                                    [identifier](const Mount& mount) { return mount.identifier == identifier; });
    return found == mounts.end() ? nullptr : &*found;
}

}  // namespace KestrelCore
