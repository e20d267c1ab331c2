#include "KestrelCore/Platform/ApplicationLocations.hpp"

#include "KestrelCore/Base/URL.hpp"

namespace KestrelCore {

ApplicationLocations ApplicationLocations::ofHome(const Text& homeDirectory) {
    return {.applicationFolders = {"/Applications", Path::appending(homeDirectory, "Applications")},
            .libraryFolder = Path::appending(homeDirectory, "Library")};
}

}  // namespace KestrelCore
