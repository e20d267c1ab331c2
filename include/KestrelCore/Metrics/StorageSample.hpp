#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// One volume: a file system on disks of this machine, however often it is mounted.
struct KESTRELCORE_EXPORT VolumeSample {
    Text mountPoint{};            ///< where it is mounted
    Text fileSystem{};            ///< its kind, such as "ext4"
    Text device{};                ///< what is mounted, such as "/dev/sda1"
    std::int64_t totalBytes = 0;  ///< the size of the file system
    std::int64_t usedBytes = 0;   ///< 0 to `totalBytes`
    std::int64_t freeBytes = 0;   ///< what a user may still take; with room kept for the system, less than is not used
    /// Since the sampler's previous reading; 0 at the first sight. Absent where nobody counts for this volume alone.
    std::optional<std::int64_t> readBytesPerSecond{};
    std::optional<std::int64_t> writtenBytesPerSecond{};

    bool operator==(const VolumeSample&) const = default;
};

/// One whole disk, with all that lies on it.
struct KESTRELCORE_EXPORT DiskSample {
    Text name{};                          ///< the system's, such as "sda"
    std::int64_t readBytesPerSecond = 0;  ///< since the sampler's previous reading; 0 at the first sight
    std::int64_t writtenBytesPerSecond = 0;

    bool operator==(const DiskSample&) const = default;
};

/// One reading of the volumes and disks of this machine, both in the system's order. Volumes behind a network or a
/// program are left out, since asking one may never come back.
struct KESTRELCORE_EXPORT StorageSample {
    Date timestamp{};                     ///< wall-clock time of the reading
    std::vector<VolumeSample> volumes{};  ///< empty when the system does not tell
    std::vector<DiskSample> disks{};      ///< empty when the system does not tell

    /// One JSON object with the fields as keys, in their order; absent ones are left out, the date is in seconds since
    /// 2001. Throws `EncodingError` for a date that is not finite.
    [[nodiscard]] std::string encodedJSON() const;
    /// Reads what `encodedJSON` writes; unknown keys are skipped. Throws `DecodingError`.
    [[nodiscard]] static StorageSample decodingJSON(std::string_view json);

    bool operator==(const StorageSample&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::VolumeSample> {
    std::size_t operator()(const KestrelCore::VolumeSample& sample) const {
        return KestrelCore::Internal::hashOf(sample.mountPoint, sample.fileSystem, sample.device, sample.totalBytes,
                                             sample.usedBytes, sample.freeBytes, sample.readBytesPerSecond,
                                             sample.writtenBytesPerSecond);
    }
};
template <>
struct std::hash<KestrelCore::DiskSample> {
    std::size_t operator()(const KestrelCore::DiskSample& sample) const {
        return KestrelCore::Internal::hashOf(sample.name, sample.readBytesPerSecond, sample.writtenBytesPerSecond);
    }
};
