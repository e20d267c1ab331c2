#include "Platform/Linux/MountTable.hpp"

#include "Platform/Linux/SmallFile.hpp"

#include <algorithm>
#include <charconv>
#include <fcntl.h>
#include <sys/stat.h>

namespace KestrelCore {

namespace {

bool isOctal(char c) { return c >= '0' && c <= '7'; }

/// Blanks, newlines and backslashes stand in the table as a backslash and three octal digits.
std::string unescaped(std::string_view field) {
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

}  // namespace

MountTable MountTable::parse(std::string_view text) {
    MountTable table;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        // The mount point is the fifth field.
        for (int field = 0; field < 4 && !line.empty(); ++field)
            line.remove_prefix(std::min(line.find(' '), line.size() - 1) + 1);
        line = line.substr(0, line.find(' '));
        if (line.starts_with('/')) table.points.push_back(unescaped(line));
    }
    return table;
}

std::optional<MountTable> MountTable::current() {
    const auto text = contentsOfSmallFile("/proc/self/mountinfo");
    if (!text) return std::nullopt;
    return parse(*text);
}

bool MountTable::hasMountAtOrBelow(std::string_view path) const {
    return std::any_of(points.begin(), points.end(), [path](const std::string& point) {
        return point.starts_with(path) && (point.size() == path.size() || path == "/" || point[path.size()] == '/');
    });
}

std::optional<std::uint64_t> mountIdentifier(int descriptor) {
#ifdef STATX_MNT_ID
    struct statx status {};
    if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_MNT_ID, &status) == 0 && (status.stx_mask & STATX_MNT_ID) != 0)
        return status.stx_mnt_id;
#endif
    // Kernels before 5.8 tell it here only.
    const auto text = contentsOfSmallFile("/proc/self/fdinfo/" + std::to_string(descriptor));
    if (!text) return std::nullopt;
    constexpr std::string_view key = "mnt_id:";
    std::size_t at = text->find(key);
    if (at == std::string::npos) return std::nullopt;
    at = text->find_first_not_of(" \t", at + key.size());
    if (at == std::string::npos) return std::nullopt;
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text->data() + at, text->data() + text->size(), number);
    if (error != std::errc{}) return std::nullopt;
    return number;
}

}  // namespace KestrelCore
