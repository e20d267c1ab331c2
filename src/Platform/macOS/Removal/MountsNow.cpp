#include "Platform/POSIX/Removal/MountsNow.hpp"

#include "Platform/macOS/Removal/MountPoints.hpp"
#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"

namespace KestrelCore {

/// The list is short, and asked for each time.
struct MountsNow::State {};

MountsNow::MountsNow() = default;
MountsNow::~MountsNow() = default;

std::optional<bool> MountsNow::isAnyAtOrBelow(std::string_view place) {
    const auto points = MacOS::mountPoints();
    return points ? std::optional{MacOS::isAnyAtOrBelow(*points, place)} : std::nullopt;
}

Text MountsNow::untoldSentence() { return "The system does not tell what is mounted in it."; }

}  // namespace KestrelCore
