#include "Platform/macOS/Trash/Portable/TrashRules.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

#include <cerrno>

namespace KestrelCore {

std::vector<std::string> trashFoldersOfHome(std::string_view home) {
    const std::string top{home};
    return {top + "/.Trash", top + "/Library/Mobile Documents/com~apple~CloudDocs/.Trash"};
}

bool isTrashOf(std::uint32_t user, const TrashCandidate& candidate) {
    constexpr std::uint32_t writableByOthers = 022;
    return candidate.isWithoutOwners || (candidate.owner == user && (candidate.mode & writableByOthers) == 0);
}

bool isAbsenceOfTrash(int errorNumber) {
    return errorNumber == ENOENT || errorNumber == ENOTDIR || errorNumber == ELOOP;
}

bool isTrashedName(std::string_view name) { return name != ".DS_Store" && name != ".localized"; }

std::optional<std::time_t> addedTimeOf(std::string_view answer) {
    constexpr std::size_t commonSet = 4;
    constexpr std::size_t time = 24;
    constexpr std::uint32_t addedTime = 0x10000000;
    if (answer.size() < addedTimeAnswerBytes || numberAt<std::uint32_t>(answer, 0) < addedTimeAnswerBytes)
        return std::nullopt;
    if ((numberAt<std::uint32_t>(answer, commonSet) & addedTime) == 0) return std::nullopt;
    const auto seconds = numberAt<std::int64_t>(answer, time);
    // 0 stands for an item that came there before the volume kept it; far beyond it no calendar counts.
    constexpr std::int64_t latest = std::int64_t{1} << 40;
    return seconds > 0 && seconds < latest ? std::optional{static_cast<std::time_t>(seconds)} : std::nullopt;
}

}  // namespace KestrelCore
