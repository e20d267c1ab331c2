#include "KestrelCore/Reclaim/SuggestionSettings.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/UserPlaces.hpp"

namespace KestrelCore {

ReclaimPlaces ReclaimPlaces::ofThisProcess() {
    const DesktopLocations locations = DesktopLocations::current();
    return {.home = locations.homeFolder,
            .cache = locations.cacheFolder,
            .configuration = locations.configurationFolder,
            .data = locations.dataFolder,
            .state = locations.stateFolder,
            .library = Path::appending(locations.homeFolder, "Library"),
            .trash = Text{UserPlaces::current().trash}};
}

ReclaimPlaces ReclaimPlaces::below(const Text& home) {
    return {.home = home,
            .cache = Path::appending(home, ".cache"),
            .configuration = Path::appending(home, ".config"),
            .data = Path::appending(home, ".local/share"),
            .state = Path::appending(home, ".local/state"),
            .library = Path::appending(home, "Library"),
            .trash = Text{UserPlaces::ofHome(home.string()).trash}};
}

}  // namespace KestrelCore
