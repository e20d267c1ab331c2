#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Platform/GuardedPlace.hpp"
#include "Platform/POSIX/Removal/ItemLocation.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Where guarded places are: not only by their names, but as folders of file systems. Immutable; any thread.
class PlacesOnDisk {
public:
    /// Looks the places up now, each folder on the ways to them once.
    explicit PlacesOnDisk(std::vector<GuardedPlace> places);
    PlacesOnDisk(PlacesOnDisk&&) noexcept;
    PlacesOnDisk& operator=(PlacesOnDisk&&) noexcept;
    ~PlacesOnDisk();

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

    /// `mountSentence` by the mounts of the time when the places were looked up.
    [[nodiscard]] std::optional<Text> mountSentence(std::string_view place) const;

private:
    class State;
    std::unique_ptr<const State> state_;
};

}  // namespace KestrelCore
