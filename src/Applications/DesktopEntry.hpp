#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// The values of one group of a key file (a desktop entry, a Flatpak's metadata), keys with their locale in brackets as
/// written. Empty when there is no such group. Lines that are no pair are passed over; the first of two equal keys
/// holds. Values keep their escapes.
[[nodiscard]] std::optional<std::map<std::string, std::string, std::less<>>> keyFileGroup(std::string_view content,
                                                                                          std::string_view group);

/// What a desktop entry says about an application.
struct DesktopEntry {
    bool isApplication = false;   ///< its type is "Application"
    bool isHidden = false;        ///< "Hidden": as if it were not there
    bool isNotDisplayed = false;  ///< "NoDisplay": there, but not shown to users
    Text plainName;
    Text localizedName;
    /// The base name of the program that it starts, behind launchers such as env and Flatpak; empty when it starts
    /// nothing of its own: an interpreter tells nothing about the application.
    Text executable;

    /// Empty when the content is no desktop entry. `locale` is the user's, such as "de_DE.UTF-8@euro".
    [[nodiscard]] static std::optional<DesktopEntry> parse(std::string_view content, std::string_view locale);
};

}  // namespace KestrelCore
