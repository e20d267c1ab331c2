#include "Platform/Linux/Trash/TrashInfo.hpp"

#include "Base/PercentCoding.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {

namespace {

constexpr KeptBytes keptInPath = keepingUnreservedAnd("/");

bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

}  // namespace

std::string percentEncodedPath(std::string_view bytes) { return percentEncoded(bytes, keptInPath); }

std::string trashInfoText(std::string_view path, const std::tm& localTime) {
    std::array<char, 32> date{};
    const std::size_t length = std::strftime(date.data(), date.size(), "%Y-%m-%dT%H:%M:%S", &localTime);
    return "[Trash Info]\nPath=" + percentEncodedPath(path) + "\nDeletionDate=" + std::string{date.data(), length} +
           "\n";
}

std::optional<std::string> pathOfTrashInfo(std::string_view text) {
    bool isInGroup = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        constexpr std::string_view key = "Path=";
        if (line.starts_with('[')) {
            if (isInGroup) return std::nullopt;
            isInGroup = line == "[Trash Info]";
        } else if (isInGroup && line.starts_with(key)) {
            return percentDecoded(line.substr(key.size()));
        }
    }
    return std::nullopt;
}

std::string trashName(std::string_view name, std::string_view distinction, std::size_t longest) {
    const std::size_t room = longest - std::min(longest, distinction.size());
    if (name.size() > room) {
        std::size_t end = room;
        while (end > 0 && continuesCharacter(name[end])) --end;
        name = name.substr(0, end);
    }
    return std::string{name} + std::string{distinction};
}

}  // namespace KestrelCore
