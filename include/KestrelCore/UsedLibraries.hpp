#pragma once

#include "KestrelCore/Export.hpp"

#include <string>
#include <vector>

namespace KestrelCore {

/// A library of others that KestrelCore calls.
struct UsedLibrary {
    std::string name;     ///< as its makers write it, such as "SQLite"
    std::string version;  ///< of the one that runs where it can be asked, else of the one that was compiled with

    bool operator==(const UsedLibrary&) const = default;
};

/// All of them, by name without regard to case. For the text of a version, where somebody looks for a faulty one.
[[nodiscard]] KESTRELCORE_EXPORT std::vector<UsedLibrary> usedLibraries();

}  // namespace KestrelCore
