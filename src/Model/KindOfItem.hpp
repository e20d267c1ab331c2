#pragma once

#include "KestrelCore/Model/FileKind.hpp"
#include "Platform/FileStatus.hpp"

namespace KestrelCore {

/// What an item of the file system is to the library. Sockets, FIFOs, devices and what the system has no type for are
/// other. Whether a directory is a package is told by its extension alone, which no status holds.
[[nodiscard]] constexpr FileKind kindOf(FileType type, bool hasPackageExtension) {
    switch (type) {
    case FileType::regular: return FileKind::file;
    case FileType::directory: return hasPackageExtension ? FileKind::package : FileKind::directory;
    case FileType::symbolicLink: return FileKind::symbolicLink;
    default: return FileKind::other;
    }
}

}  // namespace KestrelCore
