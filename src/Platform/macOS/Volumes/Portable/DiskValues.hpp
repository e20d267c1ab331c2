#pragma once

#include "Platform/DiskKind.hpp"
#include "Platform/Volumes.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// The names under which a disk's driver and the device behind it say what they are.
namespace DiskKeys {
inline constexpr const char* driver = "IOBlockStorageDriver";
inline constexpr const char* name = "BSD Name";
inline constexpr const char* statistics = "Statistics";
inline constexpr const char* readBytes = "Bytes (Read)";
inline constexpr const char* writtenBytes = "Bytes (Write)";
inline constexpr const char* characteristics = "Device Characteristics";
inline constexpr const char* mediumType = "Medium Type";
}  // namespace DiskKeys

/// What a driver counted since its disk came; absent without a name, or with a count that is none.
[[nodiscard]] std::optional<DiskCounters> diskCountersOf(const std::optional<std::string>& name,
                                                         std::optional<double> readBytes,
                                                         std::optional<double> writtenBytes);

/// Of a medium's type as its device says it.
[[nodiscard]] DiskKind diskKindOfMedium(const std::optional<std::string>& mediumType);

/// The name below /dev of what is mounted: "disk3s5" of "/dev/disk3s5". Empty for what is no disk, also for a state of
/// one.
[[nodiscard]] std::string diskNameOf(std::string_view source);

}  // namespace KestrelCore
