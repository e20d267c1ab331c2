#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Export.hpp"

#include <functional>
#include <optional>

namespace KestrelCore {

/// What is scanned: a folder or a whole volume. Scopes are equal when all three values are; two scans of one folder
/// under different names are two scopes.
struct KESTRELCORE_EXPORT ScanScope {
    URL root;               ///< the top of the scan; standardised by the first constructor
    Text displayName;       ///< shown to the user
    Text volumeIdentifier;  ///< identifies the scope; by default the root's path

    /// Standardises `root` by text alone. The display name defaults to the last path component of the URL as given
    /// ("Macintosh HD" when that is empty), the volume identifier to the path of the URL as given.
    explicit ScanScope(const URL& root, const std::optional<Text>& displayName = std::nullopt,
                       const std::optional<Text>& volumeIdentifier = std::nullopt);

    /// The three values exactly as they were stored: nothing is standardised, nothing defaulted.
    [[nodiscard]] static ScanScope stored(URL root, Text displayName, Text volumeIdentifier);

    bool operator==(const ScanScope&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ScanScope> {
    std::size_t operator()(const KestrelCore::ScanScope& scope) const {
        return KestrelCore::Internal::hashOf(scope.root, scope.displayName, scope.volumeIdentifier);
    }
};
