#include "Platform/macOS/Volumes/Portable/DiskValues.hpp"

#include <algorithm>

namespace KestrelCore {

std::optional<DiskCounters> diskCountersOf(const std::optional<std::string>& name, std::optional<double> readBytes,
                                           std::optional<double> writtenBytes) {
    constexpr double tooMany = 9.2e18;
    const auto isCount = [](std::optional<double> count) { return count && *count >= 0 && *count < tooMany; };
    if (!name || name->empty() || !isCount(readBytes) || !isCount(writtenBytes)) return std::nullopt;
    return DiskCounters{.name = *name,
                        .isWhole = true,
                        .readBytes = static_cast<std::uint64_t>(*readBytes),
                        .writtenBytes = static_cast<std::uint64_t>(*writtenBytes)};
}

DiskKind diskKindOfMedium(const std::optional<std::string>& mediumType) {
    if (mediumType == "Solid State") return DiskKind::solid;
    return mediumType == "Rotational" ? DiskKind::rotating : DiskKind::unknown;
}

std::string diskNameOf(std::string_view source) {
    constexpr std::string_view folder = "/dev/";
    if (!source.starts_with(folder)) return {};
    source.remove_prefix(folder.size());
    const bool isName =
        std::ranges::all_of(source, [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); });
    return isName && source.starts_with("disk") ? std::string{source} : std::string{};
}

}  // namespace KestrelCore
