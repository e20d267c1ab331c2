#pragma once

#include "Platform/ContentFile.hpp"

#include <cstdint>
#include <sys/stat.h>

namespace KestrelCore {

// What systems differ in about reading the content of files. Each has an implementation of its own.

/// As `open` with these flags for reading, and the time of the last access stays where the system lets it be so. -1
/// with `errno` set on failure.
[[nodiscard]] int openLeavingAccessTime(const char* path, int flags);

/// The errno value for a regular file whose content is not to be read, as to read it would do something; 0 for others.
[[nodiscard]] int contentObstacle(const struct stat& status);

void expectReading(int descriptor, ReadingPattern pattern);
void readContentAhead(int descriptor, std::int64_t offset, std::int64_t bytes);

}  // namespace KestrelCore
