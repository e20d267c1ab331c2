#pragma once

#include "Platform/DiskKind.hpp"

#include <string_view>

namespace KestrelCore {

/// What the kernel's files say of a disk: where its link below /sys/dev/block leads, and the text of its attribute
/// "rotational", which is empty where there is none.
[[nodiscard]] DiskKind diskKindOf(std::string_view place, std::string_view rotational);

}  // namespace KestrelCore
