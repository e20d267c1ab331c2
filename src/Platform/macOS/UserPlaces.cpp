#include "KestrelCore/Platform/UserPlaces.hpp"

#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "Platform/HomeDirectory.hpp"

namespace KestrelCore {

UserPlaces UserPlaces::current() { return ofHome(currentHomeDirectory().string()); }

UserPlaces UserPlaces::ofHome(const std::string& home) {
    return {.applicationData = home + "/Library/Application Support", .trash = home + "/.Trash"};
}

// Programs from elsewhere may follow the variables and bring entries of that kind, but no desktop shows them.
bool DesktopLocations::existHere() { return false; }

}  // namespace KestrelCore
