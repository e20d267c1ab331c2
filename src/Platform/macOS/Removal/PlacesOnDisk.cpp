#include "Platform/POSIX/Removal/PlacesOnDisk.hpp"

#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"

#include <algorithm>
#include <sys/mount.h>
#include <sys/param.h>
#include <utility>

// One volume shows in the midst of another without being mounted there: "/Users" is a folder of the volume at
// "/System/Volumes/Data". Its folders have one identity by either name; but the way by the mount point is another one,
// and is noted as well.

namespace KestrelCore {

class PlacesOnDisk::State {
public:
    explicit State(const std::vector<GuardedPlace>& places) {
        for (const GuardedPlace& place : places) {
            WayToPlace way = wayTo(place.path);
            struct statfs volume {};
            if (way.identity && ::statfs(place.path.c_str(), &volume) == 0) {
                const auto toVolume = wayTo(static_cast<const char*>(volume.f_mntonname)).ways;
                way.ways.insert(way.ways.end(), toVolume.begin(), toVolume.end());
            }
            if (place.isOnlyIfThere && !way.identity) way = {};
            found_.push_back({.isWithContent = place.withContent, .way = std::move(way)});
        }
    }

    [[nodiscard]] std::optional<Relation> relation(const ItemLocation& item) const {
        const auto status = statusIn(item.folder.get(), item.name);
        if (!status) return std::nullopt;
        const ExpectedItem found = asExpected(*status);
        const FileIdentity identity{found.device, found.inode};
        for (std::size_t place = 0; place < found_.size(); ++place) {
            const auto& [isWithContent, way] = found_[place];
            if (way.identity == identity) return Relation{place, Standing::is};
            if (std::ranges::find(way.ways, identity) != way.ways.end()) return Relation{place, Standing::holds};
            const bool isWithin = isWithContent && way.identity &&
                                  std::ranges::find(item.ancestors, *way.identity) != item.ancestors.end();
            if (isWithin) return Relation{place, Standing::within};
        }
        return std::nullopt;
    }

private:
    struct Found {
        bool isWithContent = false;
        WayToPlace way;
    };
    std::vector<Found> found_;  ///< one for each place
};

PlacesOnDisk::PlacesOnDisk(std::vector<GuardedPlace> places)
    : state_{std::make_unique<const State>(std::move(places))} {}
PlacesOnDisk::PlacesOnDisk(PlacesOnDisk&&) noexcept = default;
PlacesOnDisk& PlacesOnDisk::operator=(PlacesOnDisk&&) noexcept = default;
PlacesOnDisk::~PlacesOnDisk() = default;

std::optional<PlacesOnDisk::Relation> PlacesOnDisk::relation(const ItemLocation& item) const {
    return state_->relation(item);
}

// A folder that holds one is the top of a volume, and a mount does not go.
std::optional<PlacesOnDisk::Standing> PlacesOnDisk::standingToVolumeTrash(const ItemLocation& item) const {
    return item.isInTrash ? std::optional{Standing::within} : std::nullopt;
}

std::optional<Text> PlacesOnDisk::mountSentence(std::string_view place) const {
    return KestrelCore::mountSentence(MountsNow{}.isAnyAtOrBelow(place));
}

}  // namespace KestrelCore
