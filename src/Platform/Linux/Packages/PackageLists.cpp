#include "Platform/Linux/Packages/PackageLists.hpp"

#include "Platform/PackageOwners.hpp"
#include "Platform/SmallFile.hpp"

#include <algorithm>
#include <filesystem>
#include <system_error>

// dpkg keeps a list of paths for each package, one a line. A machine has some thousand of them, ten or twenty megabytes
// in all, which are read from end to end: there is no index, and its own `dpkg -S` does the same.

namespace KestrelCore::PackageLists {
namespace {

constexpr std::string_view ending = ".list";
/// The largest lists, of whole collections of documents, have a few megabytes.
constexpr std::size_t mostListBytes = std::size_t{1} << 25;
constexpr std::size_t mostLists = 100'000;
constexpr std::size_t mostBytes = std::size_t{1} << 29;

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
}

}  // namespace

std::optional<std::string_view> packageName(std::string_view fileName) {
    if (!fileName.ends_with(ending)) return std::nullopt;
    std::string_view name = fileName.substr(0, fileName.size() - ending.size());
    name = name.substr(0, name.find(':'));
    // A name that begins otherwise would be an option to whoever is told it.
    const bool isName = name.size() >= 2 && std::ranges::all_of(name, isNameCharacter) && name.front() != '-' &&
                        name.front() != '+' && name.front() != '.';
    return isName ? std::optional{name} : std::nullopt;
}

std::vector<std::optional<Text>> owners(const std::vector<Text>& paths, const std::string& folder) {
    std::vector<std::optional<Text>> owners(paths.size());
    Wanted wanted;
    for (std::size_t i = 0; i < paths.size(); ++i) wanted.try_emplace(paths[i].view(), i);

    std::error_code error;
    std::size_t lists = 0;
    std::size_t bytes = 0;
    std::size_t left = wanted.size();
    const std::filesystem::directory_iterator end;
    for (std::filesystem::directory_iterator entry{folder, error}; !error && entry != end; entry.increment(error)) {
        const std::string file = entry->path().filename().native();
        const std::optional<std::string_view> package = packageName(file);
        if (!package) continue;
        if (left == 0 || ++lists > mostLists || bytes > mostBytes) break;
        const std::optional<std::string> content = readSmallFile(Text{entry->path().native()}, mostListBytes);
        if (!content) continue;
        bytes += content->size();
        forEachOwned(*content, wanted, [&](std::size_t place) {
            if (!owners[place]) --left;
            owners[place] = Text{*package};
        });
    }
    // A path that was asked for twice has one answer.
    for (std::size_t i = 0; i < paths.size(); ++i) {
        const auto first = wanted.find(paths[i].view());
        if (first != wanted.end()) owners[i] = owners[first->second];
    }
    return owners;
}

}  // namespace KestrelCore::PackageLists

namespace KestrelCore {

std::vector<std::optional<Text>> packagesOwning(const std::vector<Text>& paths) {
    return PackageLists::owners(paths, "/var/lib/dpkg/info");
}

}  // namespace KestrelCore
