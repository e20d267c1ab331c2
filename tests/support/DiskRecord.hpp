#pragma once

#include "KestrelCore/Model/FileRecord.hpp"

#include <optional>
#include <string>

namespace KestrelCore {

/// The record that a scan would make now of the item at `path`, with a new identifier. An item that is missing gives a
/// record without identity. Its kind is that of the item, or the given one.
[[nodiscard]] FileRecord diskRecord(const std::string& path, std::optional<FileKind> kind = std::nullopt);

/// The same record with another identity.
[[nodiscard]] FileRecord withIdentity(const FileRecord& record, std::optional<FileIdentity> identity);

}  // namespace KestrelCore
