#pragma once

#include "Base/FatalError.hpp"
#include "Reclaim/GitIndex.hpp"

#include <string>
#include <string_view>

namespace KestrelCore::Fuzzing {

/// Reads any bytes as an index, and asks it for what it may have.
inline void exerciseGitIndex(std::string_view bytes) {
    const auto index = GitIndex::of(bytes);
    if (!index) return;
    const bool hasAny = index->tracks("");
    for (const std::string_view path : {"a", "a/b", "build", "/", "//", "\xFF"}) {
        if (index->tracks(path) && !hasAny) fatalError("fuzz/GitIndex", "What tracks nothing tracks something");
    }
}

}  // namespace KestrelCore::Fuzzing
