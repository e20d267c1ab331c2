#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <string>
#include <vector>

namespace KestrelCLI {

/// One line of a library as it is shown.
struct LibraryLine {
    KestrelCore::FileRecord record;
    std::string kind;
};

/// The first `limit` lines (date, size, kind, path relative to the scan's root) and what is left out, in a word.
void writeLibrary(const Session& session, const KestrelCore::ScanSnapshot& snapshot,
                  const std::vector<LibraryLine>& lines, std::size_t limit);

}  // namespace KestrelCLI
