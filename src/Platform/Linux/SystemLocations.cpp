#include "Platform/SystemLocations.hpp"

namespace KestrelCore {

// What the file hierarchy standard gives to the system and its package manager. /usr, /bin and /sbin are not among them
// because the rules name those for every system.
SystemLocations systemLocations() {
    return {.managed = {"/boot", "/etc", "/lib", "/lib32", "/lib64", "/libx32", "/proc", "/run", "/snap", "/sys",
                        "/var/lib"},
            // Desktop systems mount removable volumes below this folder.
            .managedExempt = {"/run/media"},
            .neverRemoved = {"/home", "/media", "/mnt", "/opt", "/root", "/srv", "/tmp", "/var"},
            .homeFolders = {".config", ".local", ".ssh", ".gnupg", ".mozilla", ".var"},
            .isOneTree = true};
}

}  // namespace KestrelCore
