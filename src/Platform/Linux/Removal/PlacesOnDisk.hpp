#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "Platform/GuardedPlace.hpp"
#include "Platform/Linux/MountTable.hpp"
#include "Platform/Linux/Removal/ItemLocation.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Where guarded places are: not only by their names, but as folders of file systems. Immutable; any thread.
class PlacesOnDisk {
public:
    /// Looks the places up now, each folder on the ways to them once.
    explicit PlacesOnDisk(std::vector<GuardedPlace> places);

    /// How an item stands to a place.
    enum class Standing : std::uint8_t { is, holds, within };
    struct Relation {
        std::size_t place = 0;  ///< index into the places given
        Standing standing = Standing::is;
    };
    /// The first place that the item is or holds, or lies within when the place's content is guarded as well.
    [[nodiscard]] std::optional<Relation> relation(const ItemLocation& item) const;

    /// How the item stands to a trash at the top of a volume; also of one that is a top elsewhere only, such as
    /// `/data/sub/.Trash-1000` where `/data/sub` is mounted at `/mnt`, too. `within` stands for the trash itself as
    /// well.
    [[nodiscard]] std::optional<Standing> standingToVolumeTrash(const ItemLocation& item) const;

    /// The mounts at that time; empty when the system does not tell.
    [[nodiscard]] const std::optional<MountTable>& mounts() const { return table_; }

private:
    class Lookup;
    /// A folder or file by its place in its file system, whatever mounts show it.
    struct Spot {
        std::string device;
        std::string path;  ///< from the file system's own top; "" for the top itself
    };
    struct Found {
        GuardedPlace place;
        std::optional<FileIdentity> identity;  ///< absent while nothing is there
        std::vector<FileIdentity> ways;        ///< of all folders and links that lead there, and of the place itself
        std::vector<Spot> spots;               ///< of the place, and of the mounts and links on the way
        std::vector<Spot> ownSpots;            ///< of the place alone
    };
    void follow(Lookup& lookup, Found& found, std::string_view path, int depth) const;
    void followLayers(Lookup& lookup, Found& found, const Mount& mount, std::string_view rest, int depth) const;
    [[nodiscard]] std::optional<Spot> spot(std::optional<std::uint64_t> mount, std::string_view path) const;
    [[nodiscard]] std::optional<std::vector<Spot>> itemSpots(const ItemLocation& item) const;
    [[nodiscard]] std::optional<Relation> relation(const ItemLocation& item, const std::vector<Spot>& spots) const;

    std::vector<GuardedPlace> places_;
    std::optional<MountTable> table_;
    std::vector<Found> found_;  ///< one for each place
};

}  // namespace KestrelCore
