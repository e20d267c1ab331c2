#include "store/StoreLocation.hpp"

namespace KestrelCLI {

std::string defaultStorePath(std::string_view home, const std::optional<std::string>& dataHome) {
    // A relative XDG_DATA_HOME is invalid by its own definition, and would follow the working directory.
    std::string folder{home};
    if (KESTREL_USES_APPLICATION_SUPPORT) {
        folder += "/Library/Application Support";
    } else if (dataHome && dataHome->starts_with('/')) {
        folder = *dataHome;
    } else {
        folder += "/.local/share";
    }
    return folder + "/kestrel/snapshots.sqlite";
}

}  // namespace KestrelCLI
