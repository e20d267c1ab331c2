#pragma once

#include "Applications/Bundles/PropertyList.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <vector>

namespace KestrelCore {

/// A folder seen as a bundle: its information dictionary with the localized values before it. Whatever the property
/// lists are, broken or hostile, they give a bundle without values, never a failure. Read once, when opened.
class Bundle {
public:
    /// The bundle at `path`: any existing folder, or a link to one, is one, also without information. Empty for a plain
    /// file or a missing path. Blocks on the disk.
    [[nodiscard]] static std::optional<Bundle> open(const Text& path);
    /// The same, localized for these languages, the preferred one first, rather than for the user's.
    [[nodiscard]] static std::optional<Bundle> open(const Text& path, const std::vector<Text>& languages);

    /// The value for a key of the information dictionary, where it is a string: from the strings for the user's
    /// languages in their order (for "de-AT" those of de-AT.lproj, else those of de.lproj), then of Base.lproj, then
    /// from the dictionary itself, each key on its own.
    [[nodiscard]] std::optional<Text> string(const Text& forInfoDictionaryKey) const;

    /// "CFBundleIdentifier" of the dictionary itself, never localized; empty when it is no string.
    [[nodiscard]] std::optional<Text> identifier() const;

private:
    Bundle() = default;

    PropertyListStrings information_;
    std::vector<PropertyListStrings> localized_;  ///< the preferred one first
};

}  // namespace KestrelCore
