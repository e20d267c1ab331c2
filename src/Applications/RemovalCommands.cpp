#include "Applications/RemovalCommands.hpp"

#include "KestrelCore/Applications/ApplicationRemoval.hpp"
#include "Platform/PackageOwners.hpp"

#include <algorithm>
#include <string_view>

namespace KestrelCore {
namespace {

/// Where snaps put their entries, each named SNAP_PROGRAM.desktop.
constexpr std::string_view snapEntries = "/var/lib/snapd/desktop/applications/";

/// Whether a shell takes the text for one word and no program for an option.
bool isPlainWord(std::string_view text) {
    const auto isPlain = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
               c == '_' || c == '+';
    };
    return !text.empty() && text.front() != '-' && std::ranges::all_of(text, isPlain);
}

std::optional<Text> command(std::string_view beginning, std::string_view name) {
    return isPlainWord(name) ? std::optional{Text::concatenating({beginning, " ", name})} : std::nullopt;
}

bool isInInstallation(const Text& path, const std::vector<Text>& installations) {
    return std::ranges::any_of(installations, [&path](const Text& installation) {
        return path.view().starts_with(Text::concatenating({installation.view(), "/app/"}).view());
    });
}

}  // namespace

std::vector<std::optional<Text>> removalCommands(const std::vector<ApplicationRecord>& applications,
                                                 const DesktopLocations& locations,
                                                 const PackageSearch& packagesOwning) {
    std::vector<std::optional<Text>> commands(applications.size());
    std::vector<Text> entries;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < applications.size(); ++i) {
        const Text& path = applications[i].url.path();
        if (isInInstallation(path, locations.flatpakInstallations)) {
            commands[i] = command("flatpak uninstall", applications[i].bundleIdentifier.value_or(Text{}).view());
        } else if (path.view().starts_with(snapEntries)) {
            const std::string_view name = path.view().substr(snapEntries.size());
            commands[i] = command("snap remove", name.substr(0, name.find('_')));
        } else if (path.view().ends_with(".desktop")) {
            entries.push_back(path);
            places.push_back(i);
        }
    }
    if (entries.empty()) return commands;
    const std::vector<std::optional<Text>> packages = packagesOwning(entries);
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (packages[i]) commands[places[i]] = command("apt remove", packages[i]->view());
    }
    return commands;
}

std::vector<std::optional<Text>> ApplicationRemoval::commands(const std::vector<ApplicationRecord>& applications) {
    return removalCommands(applications, DesktopLocations::current(), packagesOwning);
}

}  // namespace KestrelCore
