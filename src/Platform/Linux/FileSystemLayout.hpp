#pragma once

#include "Platform/FileSystems.hpp"
#include "Platform/Linux/MountTable.hpp"

#include <optional>
#include <string_view>

namespace KestrelCore {

/// What the table says of the folder; see `fileSystemAt`.
[[nodiscard]] std::optional<FileSystemLayout> layoutAt(const MountTable& table, std::string_view folder);

}  // namespace KestrelCore
