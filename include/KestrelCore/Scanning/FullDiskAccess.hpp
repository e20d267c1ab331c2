#pragma once

#include "KestrelCore/Export.hpp"

namespace KestrelCore {

class FileManager;

/// Guesses whether the system has granted this process access to the whole disk, by listing folders of the home
/// directory that it protects. A hint for a user interface, never a promise.
class KESTRELCORE_EXPORT FullDiskAccess {
public:
    FullDiskAccess() = delete;

    /// Whether this system has such a permission at all. Never changes.
    [[nodiscard]] static bool existsHere();

    /// Asked afresh each time. False also where no such folder exists, as on systems that have none. Blocks on the
    /// disk.
    [[nodiscard]] static bool isLikelyGranted();
    /// The same with another file system.
    [[nodiscard]] static bool isLikelyGranted(const FileManager& fileManager);
};

}  // namespace KestrelCore
