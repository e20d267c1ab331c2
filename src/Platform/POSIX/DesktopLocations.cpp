#include "KestrelCore/Platform/DesktopLocations.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "Platform/HomeDirectory.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string_view>

namespace KestrelCore {
namespace {

std::string_view environmentValue(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string_view{} : std::string_view{value};
}

/// Whether the bytes are the text that they make: others than UTF-8 are replaced in it, and it names another place.
bool isUTF8(std::string_view bytes) { return Text{bytes}.view() == bytes; }

/// A variable that is not an absolute path counts as unset, as the base directory rules say.
Text folderFrom(const char* variable, const Text& standard) {
    const std::string_view value = environmentValue(variable);
    if (!value.starts_with('/')) return standard;
    if (isUTF8(value)) return Path::standardized(value);
    const Text sentence =
        Text::concatenating({"The folder that ", variable, " names is not UTF-8. Set it to another one."});
    throw PlatformError{PlatformError::Domain::fileManager, PlatformError::fileReadInvalidFileName, sentence,
                        std::make_shared<const PlatformError>(PlatformError::posix(EILSEQ))};
}

/// The absolute paths of a list with colons between them; what is relative, empty or not UTF-8 in it is passed over.
std::vector<Text> foldersFrom(std::string_view list) {
    std::vector<Text> folders;
    for (std::size_t start = 0; start <= list.size();) {
        const std::size_t end = std::min(list.find(':', start), list.size());
        const std::string_view folder = list.substr(start, end - start);
        if (folder.starts_with('/') && isUTF8(folder)) folders.push_back(Path::standardized(folder));
        start = end + 1;
    }
    return folders;
}

}  // namespace

DesktopLocations DesktopLocations::current() {
    const Text home = currentHomeDirectory();
    DesktopLocations locations;
    locations.homeFolder = home;
    locations.dataFolder = folderFrom("XDG_DATA_HOME", Path::appending(home, ".local/share"));
    locations.configurationFolder = folderFrom("XDG_CONFIG_HOME", Path::appending(home, ".config"));
    locations.cacheFolder = folderFrom("XDG_CACHE_HOME", Path::appending(home, ".cache"));
    locations.stateFolder = folderFrom("XDG_STATE_HOME", Path::appending(home, ".local/state"));
    const std::string_view systemFolders = environmentValue("XDG_DATA_DIRS");
    locations.systemDataFolders =
        foldersFrom(systemFolders.empty() ? std::string_view{"/usr/local/share:/usr/share"} : systemFolders);
    locations.flatpakInstallations = {folderFrom("FLATPAK_USER_DIR", Path::appending(locations.dataFolder, "flatpak")),
                                      folderFrom("FLATPAK_SYSTEM_DIR", "/var/lib/flatpak")};
    // In the order in which the C library asks them; the first that is set decides, whether it can be used or not.
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const std::string_view value = environmentValue(variable);
        if (value.empty()) continue;
        locations.locale = value;
        break;
    }
    return locations;
}

}  // namespace KestrelCore
