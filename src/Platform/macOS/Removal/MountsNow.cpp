#include "Platform/POSIX/Removal/MountsNow.hpp"

#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"
#include "Platform/macOS/Volumes/SystemVolumes.hpp"

#include <string>
#include <vector>

namespace KestrelCore {

/// The list is short, and asked for each time.
struct MountsNow::State {};

MountsNow::MountsNow() = default;
MountsNow::~MountsNow() = default;

std::optional<bool> MountsNow::isAnyAtOrBelow(std::string_view place) {
    const auto table = currentVolumeTable();
    if (!table) return std::nullopt;
    std::vector<std::string> points;
    for (const MountedFileSystem& mounted : table->mounted()) points.push_back(mounted.point);
    return KestrelCore::isAnyAtOrBelow(points, table->seen(place));
}

Text MountsNow::untoldSentence() { return "The system does not tell what is mounted in it."; }

}  // namespace KestrelCore
