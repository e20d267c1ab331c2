#pragma once

#include "KestrelCore/Applications/ApplicationOrphan.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"

#include <unordered_set>
#include <vector>

namespace KestrelCore {

/// Which identifiers belong to something that is installed. In any case of letters: file names and identifiers of one
/// application often differ in it.
class IdentifierClaims {
public:
    /// A name that something installed goes by; an empty one claims nothing.
    void add(const Text& name);

    /// Whether something installed has this identifier, is a part of what has it ("org.example.App.Helper" of
    /// "org.example.App"), or has parts of which one has it. "org.example" alone is nobody's part: a vendor has more
    /// than one application.
    [[nodiscard]] bool hold(const Text& identifier) const;

private:
    std::unordered_set<Text> names_;
    std::unordered_set<Text> above_;  ///< what the names are parts of
};

/// Whether a name looks like an identifier that an application was given: a domain turned round, with two dots at least
/// and nothing but letters, digits, "-" and "_" between them, where no part begins with a digit.
[[nodiscard]] bool isApplicationIdentifier(const Text& name);

/// The folders of the Flatpaks and those in the base folders that carry the identifier of an application, as far as
/// none of `claims` holds them. Sorted by identifier. Links, and what can't be looked at, are left out, as are a base
/// folder that is the home directory and what the desktop itself goes by (org.freedesktop).
[[nodiscard]] std::vector<ApplicationOrphan>
desktopOrphans(const IdentifierClaims& claims, const DesktopLocations& locations, const FileManager& fileManager);

/// The same for the places in the Library in which each application has an item. What carries an identifier of the
/// system's own (com.apple) is nobody's leftover.
[[nodiscard]] std::vector<ApplicationOrphan> libraryOrphans(const IdentifierClaims& claims, const Text& libraryFolder,
                                                            const FileManager& fileManager);

}  // namespace KestrelCore
