#include "Platform/Vocabulary.hpp"

namespace KestrelCore {

const Vocabulary& macOSVocabulary() {
    static const Vocabulary words{
        .neverRemoved = "Kestrel never removes a disk, Applications folder, or home-directory root.",
        .managed = "This location is managed by macOS and is view-only in Kestrel.",
        .symbolicLink = "The path contains a symbolic link and must be reviewed in Finder.",
        .unreadableRoot = "Grant Full Disk Access and try again.",
        // The system hides from programs without the permission whether something is there.
        .missingRoot = "Grant Full Disk Access and try again.",
        .refusedApplication = "macOS blocked app deletion. Allow Kestrel in Privacy & Security → App Management (allow "
                              "Terminal while using this local preview), then try again.",
        .protectedProcess = "Kestrel protects itself and critical macOS processes.",
        .wholeDiskPermission = "Full Disk Access"};
    return words;
}

}  // namespace KestrelCore
