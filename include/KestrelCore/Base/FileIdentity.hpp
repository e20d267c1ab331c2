#pragma once

#include "KestrelCore/Base/Hashing.hpp"

#include <cstdint>
#include <functional>

namespace KestrelCore {

/// Identifies an item on its volume: hard links to the same inode have equal identities. Good for telling whether a
/// path still leads to the item that it led to a moment ago. No name for keeps: file systems give a freed inode number
/// out again, and device numbers may change from one start of the machine to the next.
struct FileIdentity {
    std::uint64_t device = 0;  ///< device number of the volume
    std::uint64_t inode = 0;   ///< inode number on that device

    bool operator==(const FileIdentity&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::FileIdentity> {
    std::size_t operator()(const KestrelCore::FileIdentity& value) const noexcept {
        return KestrelCore::Internal::hashOf(value.device, value.inode);
    }
};
