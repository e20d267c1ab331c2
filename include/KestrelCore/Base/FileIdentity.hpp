#pragma once

#include "KestrelCore/Base/Hashing.hpp"

#include <cstdint>
#include <functional>

namespace KestrelCore {

/// Identifies an item on its volume: hard links to the same inode have equal identities.
struct FileIdentity {
    std::uint64_t device = 0;  ///< device number of the volume
    std::uint64_t inode = 0;   ///< inode number on that device

    bool operator==(const FileIdentity&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::FileIdentity> {
    std::size_t operator()(const KestrelCore::FileIdentity& value) const noexcept {
        return KestrelCore::hashOf(value.device, value.inode);
    }
};
