#include "KestrelCore/Platform/UserPlaces.hpp"

#include "KestrelCore/Platform/DesktopLocations.hpp"

namespace KestrelCore {
namespace {

UserPlaces placesIn(const std::string& dataFolder) {
    return {.applicationData = dataFolder, .trash = dataFolder + "/Trash"};
}

}  // namespace

UserPlaces UserPlaces::current() { return placesIn(DesktopLocations::current().dataFolder.string()); }

UserPlaces UserPlaces::ofHome(const std::string& home) { return placesIn(home + "/.local/share"); }

bool DesktopLocations::existHere() { return true; }

}  // namespace KestrelCore
