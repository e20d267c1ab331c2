#include "Platform/macOS/Removal/Portable/WaysToPlaces.hpp"

#include "Base/PathComponents.hpp"
#include "Platform/POSIX/StatusIdentity.hpp"
#include "Platform/macOS/Volumes/Portable/MountedFileSystems.hpp"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

// There are no bind mounts and no layered file systems here, so that the identities of the folders on the way tell all:
// an item that is one of them holds the place.

namespace KestrelCore {

namespace {

constexpr int mostLinks = 32;  // as many as the system follows

std::optional<FileIdentity> identityAt(const std::string& path, bool& isLink) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0) return std::nullopt;
    isLink = S_ISLNK(status.st_mode);
    return identityOf(status);
}

/// The components of a path, the last one first.
std::vector<std::string> reversedComponents(std::string_view path) {
    std::vector<std::string> components;
    forEachComponent(path, [&](std::string_view component) {
        if (component != ".") components.emplace_back(component);
    });
    std::ranges::reverse(components);
    return components;
}

std::string linkTarget(const std::string& path) {
    std::string target(PATH_MAX, '\0');
    const ssize_t size = ::readlink(path.c_str(), target.data(), target.size());
    target.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
    return target;
}

}  // namespace

WayToPlace wayTo(std::string_view path) {
    WayToPlace way;
    bool isLink = false;
    const auto root = identityAt("/", isLink);
    if (!path.starts_with('/') || !root) return way;
    struct Step {
        FileIdentity identity;
        std::string path;
    };
    std::vector<Step> steps{{.identity = *root, .path = ""}};
    const auto noteSteps = [&] {
        for (const Step& step : steps) way.ways.push_back(step.identity);
    };
    std::vector<std::string> ahead = reversedComponents(path);
    for (int links = 0; !ahead.empty();) {
        const std::string name = std::move(ahead.back());
        ahead.pop_back();
        if (name == "..") {
            // The way behind has no links in it, so that the folder above is the one it came through.
            if (steps.size() > 1) steps.pop_back();
            continue;
        }
        std::string next = steps.back().path + "/" + name;
        const auto identity = identityAt(next, isLink);
        if (!identity) {
            noteSteps();
            return way;
        }
        if (!isLink) {
            steps.push_back({.identity = *identity, .path = std::move(next)});
            continue;
        }
        // Whoever takes the link, or a folder above it, takes the way to the place.
        noteSteps();
        way.ways.push_back(*identity);
        const std::string target = linkTarget(next);
        if (target.empty() || ++links > mostLinks) return way;
        if (target.starts_with('/')) steps.resize(1);
        for (std::string& component : reversedComponents(target)) ahead.push_back(std::move(component));
    }
    noteSteps();
    way.identity = steps.back().identity;
    return way;
}

bool isAnyAtOrBelow(const std::vector<std::string>& mountPoints, std::string_view place) {
    bool isLink = false;
    const auto identity = identityAt(std::string{place}, isLink);
    return std::ranges::any_of(mountPoints, [&](const std::string& point) {
        if (isAtOrBelow(point, place)) return true;
        // What is mounted is not looked at, only the folder that it lies in: a volume of the network may not answer.
        const std::size_t slash = point.rfind('/');
        if (!identity || slash == std::string::npos || slash == 0) return false;
        const auto ways = wayTo(std::string_view{point}.substr(0, slash)).ways;
        return std::ranges::find(ways, *identity) != ways.end();
    });
}

bool isTrashesName(std::string_view name) {
    return std::ranges::equal(name, std::string_view{".trashes"}, [](char given, char wanted) {
        return (given >= 'A' && given <= 'Z' ? static_cast<char>(given - 'A' + 'a') : given) == wanted;
    });
}

}  // namespace KestrelCore
