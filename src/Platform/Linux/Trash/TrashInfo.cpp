#include "Platform/Linux/Trash/TrashInfo.hpp"

#include "Base/PercentCoding.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {

namespace {

constexpr KeptBytes keptInPath = keepingUnreservedAnd("/");

/// The first value of the key ("Path=") in the one group that an info file has.
std::optional<std::string_view> valueOf(std::string_view text, std::string_view key) {
    bool isInGroup = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.starts_with('[')) {
            if (isInGroup) return std::nullopt;
            isInGroup = line == "[Trash Info]";
        } else if (isInGroup && line.starts_with(key)) {
            return line.substr(key.size());
        }
    }
    return std::nullopt;
}

/// Reads "2026-11-21T09:30:00", all of it.
bool readDate(std::string_view text, std::tm& date) {
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:dd";
    if (text.size() != form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (form[i] == 'd' ? !isDigit : text[i] != form[i]) return false;
    }
    const auto number = [&](std::size_t begin, std::size_t digits) {
        int value = 0;
        for (std::size_t i = begin; i < begin + digits; ++i) value = value * 10 + (text[i] - '0');
        return value;
    };
    date.tm_year = number(0, 4) - 1900;
    date.tm_mon = number(5, 2) - 1;
    date.tm_mday = number(8, 2);
    date.tm_hour = number(11, 2);
    date.tm_min = number(14, 2);
    date.tm_sec = number(17, 2);
    return date.tm_hour < 24 && date.tm_min < 60 && date.tm_sec <= 60;
}

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
    const auto value = valueOf(text, "Path=");
    return value ? percentDecoded(*value) : std::nullopt;
}

std::optional<std::time_t> dateOfTrashInfo(std::string_view text) {
    const auto value = valueOf(text, "DeletionDate=");
    if (!value) return std::nullopt;
    std::tm local{};
    if (!readDate(*value, local)) return std::nullopt;
    const std::tm asWritten = local;
    local.tm_isdst = -1;
    const std::time_t date = std::mktime(&local);
    // The calendar makes another day of the 31st of June.
    if (date == -1 || local.tm_mday != asWritten.tm_mday || local.tm_mon != asWritten.tm_mon) return std::nullopt;
    return date;
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
