#include "Platform/Linux/Trash/HomeTrash.hpp"

#include "Platform/HomeDirectory.hpp"
#include "Platform/POSIX/Removal/TrashStanding.hpp"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace KestrelCore {

namespace {

/// An absolute path without doubled slashes, "." and a slash at its end; "" for "/". What ".." leads to depends on
/// links, so it stays.
std::string withoutEmptyComponents(std::string_view path) {
    std::string result;
    for (std::size_t begin = 0; begin < path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string_view component = path.substr(begin, end - begin);
        if (!component.empty() && component != ".") result.append("/").append(component);
        begin = end + 1;
    }
    return result;
}

}  // namespace

std::string homeTrashPath() {
    // A program that runs with more rights than its caller must not let the caller choose this place. A path that is
    // not absolute is none, as the rules for XDG base directories have it.
    const char* dataHome = ::secure_getenv("XDG_DATA_HOME");
    if (dataHome != nullptr && *dataHome == '/') return withoutEmptyComponents(dataHome) + "/Trash";
    return currentHomePath() + "/.local/share/Trash";
}

std::vector<std::string> homeTrashPaths() { return {homeTrashPath()}; }

}  // namespace KestrelCore
