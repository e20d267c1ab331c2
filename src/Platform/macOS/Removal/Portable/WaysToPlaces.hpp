#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// How a place is reached: by folders and links that each have an identity, whatever names lead to them.
struct WayToPlace {
    std::optional<FileIdentity> identity;  ///< of the place itself; absent while nothing is there
    std::vector<FileIdentity> ways;        ///< of all folders and links that lead there, and of the place itself
};

/// Goes the way to an absolute path as the system does, and notes what it meets. What is not there yet is reached by
/// the folders above it.
[[nodiscard]] WayToPlace wayTo(std::string_view path);

/// Whether one of these mount points (absolute, free of links) is `place` or lies below it, by whatever name `place` is
/// given: a volume may not tell "a" from "A", nor one spelling of an accent from another.
[[nodiscard]] bool isAnyAtOrBelow(const std::vector<std::string>& mountPoints, std::string_view place);

/// Whether a folder of this name at the top of a volume is a trash: ".Trashes", in whatever case.
[[nodiscard]] bool isTrashesName(std::string_view name);

}  // namespace KestrelCore
