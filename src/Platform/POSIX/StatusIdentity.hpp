#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"

#include <cstdint>
#include <sys/stat.h>
#include <type_traits>

namespace KestrelCore {

/// The number of the device that an item lies on. Some systems have signed ones; all of this program has them unsigned.
inline std::uint64_t deviceOf(const struct stat& status) {
    return static_cast<std::make_unsigned_t<dev_t>>(status.st_dev);
}

inline FileIdentity identityOf(const struct stat& status) {
    return {deviceOf(status), static_cast<std::uint64_t>(status.st_ino)};
}

}  // namespace KestrelCore
