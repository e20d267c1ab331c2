#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <string_view>
#include <unordered_set>

namespace KestrelCore {

/// Calls `visit` with every path that `path` lies beneath, until one answers true: what stands before each "/", and "/"
/// itself for every other path that begins with it. Whether one did.
template <typename Visit>
bool anyAncestor(const Text& path, Visit visit) {
    const std::string_view bytes = path.view();
    if (bytes.size() > 1 && bytes.front() == '/' && visit(Text{"/"})) return true;
    for (std::size_t slash = bytes.find('/'); slash != std::string_view::npos; slash = bytes.find('/', slash + 1)) {
        if (slash == 1 && bytes.front() == '/') continue;  // "/" has been asked
        if (visit(path.slice(0, slash))) return true;
    }
    return false;
}

/// Whether `path` is one of `paths` or lies beneath one.
[[nodiscard]] inline bool isCovered(const Text& path, const std::unordered_set<Text>& paths) {
    return paths.contains(path) || anyAncestor(path, [&](const Text& ancestor) { return paths.contains(ancestor); });
}

}  // namespace KestrelCore
