#include "Platform/Linux/Removal/TrashStanding.hpp"

#include "Platform/HomeDirectory.hpp"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace KestrelCore {

namespace {

/// An absolute path without doubled slashes, "." and a slash at its end; "" for "/". What ".." leads to depends on
/// links, so it stays.
std::string withoutEmptyComponents(std::string_view path) {
    std::string result;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view component = path.substr(begin, end - begin);
        if (!component.empty() && component != ".") result.append("/").append(component);
        begin = end + 1;
    }
    return result;
}

}  // namespace

std::string homeTrashPath() {
    // A program that runs with more rights than its caller must not let the caller choose this place. A path that is
    // not absolute is none, as the rules for XDG base directories have it.
    const char* dataHome = ::secure_getenv("XDG_DATA_HOME");
    if (dataHome != nullptr && *dataHome == '/') return withoutEmptyComponents(dataHome) + "/Trash";
    return currentHomePath() + "/.local/share/Trash";
}

PlacesOnDisk homeTrashOnDisk() { return PlacesOnDisk{{{.path = homeTrashPath(), .withContent = true}}}; }

std::optional<PlacesOnDisk::Standing> standingToTrash(const ItemLocation& item, const PlacesOnDisk& homeTrash) {
    if (const auto relation = homeTrash.relation(item)) return relation->standing;
    return homeTrash.standingToVolumeTrash(item);
}

}  // namespace KestrelCore
