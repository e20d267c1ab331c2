#pragma once

#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <cstdint>

namespace KestrelCore {

/// The space on disk of everything below a residue; its own where the platform enumerates nothing at all. What can't be
/// read counts 0, and so does a plain file, for which there is an enumeration that yields nothing.
[[nodiscard]] std::int64_t measuredResidueBytes(const FileManager& fileManager, const URL& url);

/// Whether an identifier may become a component of a path: "", ".", "..", and what holds "/" or a NUL would lead out of
/// the folder that is searched.
[[nodiscard]] bool isResidueName(const Text& identifier);

}  // namespace KestrelCore
