#pragma once

#include "KestrelCore/Export.hpp"

#include <string>

namespace KestrelCore {

/// Folders in a home directory that each system calls otherwise. Absolute, raw; they need not exist.
struct KESTRELCORE_EXPORT UserPlaces {
    std::string applicationData;  ///< where programs keep what is theirs and nobody looks at
    std::string trash;            ///< the trash of the home directory's volume

    /// Of the user who runs this process, where the environment may say otherwise. Throws `PlatformError` where a
    /// folder's name is not UTF-8.
    [[nodiscard]] static UserPlaces current();

    /// Of whoever has that home directory, unless told otherwise.
    [[nodiscard]] static UserPlaces ofHome(const std::string& home);
};

}  // namespace KestrelCore
