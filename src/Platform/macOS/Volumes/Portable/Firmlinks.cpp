#include "Platform/macOS/Volumes/Portable/Firmlinks.hpp"

#include "Platform/macOS/Volumes/Portable/MountedFileSystems.hpp"

#include <algorithm>

namespace KestrelCore {

namespace {

/// An absolute path that is a folder's below "/": nothing else is put in another's place.
bool isFolderPath(std::string_view path) {
    return path.size() > 1 && path.starts_with('/') && !path.ends_with('/') &&
           path.find("//") == std::string_view::npos && path.find("/../") == std::string_view::npos &&
           path.find('\0') == std::string_view::npos && !path.ends_with("/..");
}

}  // namespace

Firmlinks Firmlinks::parse(std::string_view text) {
    Firmlinks result;
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(text.size(), line.size() + 1));
        if (line.ends_with('\r')) line.remove_suffix(1);
        const std::size_t tab = line.find('\t');
        if (tab == std::string_view::npos) continue;
        Link link{.place = std::string{line.substr(0, tab)}, .folder = '/' + std::string{line.substr(tab + 1)}};
        if (isFolderPath(link.place) && isFolderPath(link.folder)) result.links.push_back(std::move(link));
    }
    return result;
}

std::string Firmlinks::seen(std::string_view path, std::string_view dataVolume) const {
    if (dataVolume.empty() || dataVolume == "/" || !isAtOrBelow(path, dataVolume)) return std::string{path};
    const std::string_view onVolume = path.substr(dataVolume.size());
    const Link* closest = nullptr;
    for (const Link& link : links) {
        if (isAtOrBelow(onVolume, link.folder) && (closest == nullptr || link.folder.size() > closest->folder.size()))
            closest = &link;
    }
    if (closest == nullptr) return std::string{path};
    return closest->place + std::string{onVolume.substr(closest->folder.size())};
}

bool Firmlinks::isAnyBelow(std::string_view folder) const {
    return std::ranges::any_of(links, [folder](const Link& link) { return isAtOrBelow(link.place, folder); });
}

}  // namespace KestrelCore
