#include "Platform/Vocabulary.hpp"

namespace KestrelCore {

const Vocabulary& systemVocabulary() {
    static const Vocabulary words{
        .neverRemoved = "Kestrel never removes a disk, system folder, or home-directory root.",
        .managed = "This location is managed by Linux and is view-only in Kestrel.",
        .symbolicLink = "The path contains a symbolic link and must be reviewed in your file manager.",
        .unreadableRoot = "You have no permission for this folder; its owner or root has.",
        .missingRoot = "There is nothing of that name.",
        .refusedApplication = "You have no permission to delete this application; the owner of its folder or root has.",
        .protectedProcess = "Kestrel protects itself and critical system processes.",
        .wholeDiskPermission = {}};
    return words;
}

}  // namespace KestrelCore
