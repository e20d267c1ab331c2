#include "KestrelCore/Scanning/FullDiskAccess.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/Vocabulary.hpp"

#include <optional>

namespace KestrelCore {
namespace {

/// Nothing of a home directory whose name is no text can be asked for.
std::optional<Text> homeOf(const FileManager& fileManager) {
    try {
        return fileManager.homeDirectory();
    } catch (const PlatformError&) {
        return std::nullopt;
    }
}

bool canBeListed(const FileManager& fileManager, const Text& folder) {
    try {
        (void)fileManager.contentsOfDirectory(folder);
        return true;
    } catch (const PlatformError&) {
        return false;
    }
}

}  // namespace

bool FullDiskAccess::existsHere() { return systemVocabulary().wholeDiskPermission.has_value(); }

bool FullDiskAccess::isLikelyGranted() { return isLikelyGranted(*FileManager::standard()); }

bool FullDiskAccess::isLikelyGranted(const FileManager& fileManager) {
    const std::optional<Text> home = homeOf(fileManager);
    if (!home) return false;
    // Folders that exist for every user who has opened the programs, and that the system lists for nobody without the
    // right.
    for (const char* name : {"Library/Mail", "Library/Safari", "Library/Messages"}) {
        const Text folder = Path::appending(*home, name);
        if (fileManager.exists(folder) && canBeListed(fileManager, folder)) return true;
    }
    return false;
}

}  // namespace KestrelCore
