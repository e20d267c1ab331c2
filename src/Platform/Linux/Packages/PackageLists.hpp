#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace KestrelCore::PackageLists {

/// The package that a list of dpkg's is about, by the name of its file: "NAME.list", or "NAME:ARCHITECTURE.list" where
/// several may be installed. Absent for a file that is no list, and for what is no package's name: it ends in a command
/// that somebody types.
[[nodiscard]] std::optional<std::string_view> packageName(std::string_view fileName);

/// The paths that are looked for, and where each stands among them.
using Wanted = std::unordered_map<std::string_view, std::size_t>;

/// Calls `found` with the place of each wanted path that is a line of `content`.
template <typename Found>
void forEachOwned(std::string_view content, const Wanted& wanted, const Found& found) {
    for (std::size_t start = 0; start < content.size();) {
        const std::size_t end = std::min(content.find('\n', start), content.size());
        const auto place = wanted.find(content.substr(start, end - start));
        if (place != wanted.end()) found(place->second);
        start = end + 1;
    }
}

/// `packagesOwning` by the lists in `folder`.
[[nodiscard]] std::vector<std::optional<Text>> owners(const std::vector<Text>& paths, const std::string& folder);

}  // namespace KestrelCore::PackageLists
