#pragma once

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace KestrelCore {

/// Where a file lies below the folder that is summed up, as far as groups ask for it.
struct SummaryPlace {
    std::uint32_t depth = 0;  ///< 1 right in the folder; 0 of what does not lie below it
    bool isInPackage = false;

    /// Of a file that no folder stands for, by its path alone. `isPackage` is asked about the paths of the folders
    /// between the two.
    template <typename IsPackage>
    [[nodiscard]] static SummaryPlace ofPath(const Text& path, const Text& folder, const IsPackage& isPackage) {
        if (!Path::isBeneath(path, folder)) return {};
        const auto slashes = [](std::string_view bytes) {
            return bytes == "/" ? 0U : static_cast<std::uint32_t>(std::ranges::count(bytes, '/'));
        };
        SummaryPlace place{.depth = slashes(path.view()) - slashes(folder.view()), .isInPackage = false};
        std::size_t end = path.view().size();
        for (std::uint32_t above = 1; above < place.depth && !place.isInPackage; ++above) {
            end = path.view().rfind('/', end - 1);
            place.isInPackage = isPackage(path.view().substr(0, end));
        }
        return place;
    }
};

}  // namespace KestrelCore
