#include "Applications/Orphans.hpp"

#include "Applications/Residues.hpp"
#include "Base/Checked.hpp"
#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <string_view>
#include <unordered_map>
#include <utility>

// Where residues are looked up by name, orphans are what remains: every item in the same places whose name is an
// identifier that nothing installed lays claim to. A claim is taken for as much as it can mean, since a folder that is
// wrongly called an orphan may hold somebody's work, and one that is missed only takes room.

namespace KestrelCore {
namespace {

constexpr std::string_view flatpakEvidence = "A Flatpak that is not installed";
constexpr std::string_view identifierEvidence = "No installed application has this identifier";
/// What the system's own parts, and those of the desktop, have in front of their names.
constexpr std::string_view systemPrefix = "com.apple.";
constexpr std::string_view desktopPrefix = "org.freedesktop.";

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::vector<Text> contentsOf(const FileManager& fileManager, const Text& folder) {
    try {
        return fileManager.contentsOfDirectory(folder);
    } catch (const PlatformError&) {
        return {};
    }
}

/// Calls `use` with all that an identifier is a part of, the longest first, as long as two dots remain.
template <typename Use>
void forEachWhole(const Text& identifier, const Use& use) {
    for (std::size_t end = identifier.view().rfind('.'); end != std::string_view::npos && end > 0;
         end = identifier.view().rfind('.', end - 1)) {
        const Text whole = identifier.slice(0, end);
        if (std::ranges::count(whole.view(), '.') < 2) return;
        use(whole);
    }
}

/// The orphans found so far, one for each identifier.
class Gathering {
public:
    Gathering(const IdentifierClaims& claims, const FileManager& fileManager)
        : claims_{claims}, fileManager_{fileManager} {}

    void add(const Text& identifier, const Text& path, std::string_view why) {
        if (claims_.hold(identifier) || !seen_.insert(path).second) return;
        const auto [entry, isNew] = places_.try_emplace(identifier, orphans_.size());
        if (isNew) orphans_.push_back({.identifier = identifier, .residues = {}});
        orphans_[entry->second].residues.push_back(
            residueAt(path, ResidueConfidence::uncertain, why, "", fileManager_));
    }

    std::vector<ApplicationOrphan> sorted() && {
        std::ranges::sort(orphans_, [](const ApplicationOrphan& a, const ApplicationOrphan& b) {
            const auto order = NaturalOrder::compareInList(a.identifier, b.identifier);
            return order != 0 ? order < 0 : a.identifier < b.identifier;
        });
        return std::move(orphans_);
    }

private:
    const IdentifierClaims& claims_;
    const FileManager& fileManager_;
    std::unordered_map<Text, std::size_t> places_;
    std::unordered_set<Text> seen_;  ///< base folders may be the same
    std::vector<ApplicationOrphan> orphans_;
};

bool isOfType(const Text& path, FileType type) {
    const FileStatusResult found = fileStatus(path.string());
    return found.status && found.status->type == type;
}

}  // namespace

std::int64_t ApplicationOrphan::estimatedBytes() const {
    std::int64_t sum = 0;
    for (const ResidueCandidate& residue : residues)
        sum = Checked::add(sum, residue.allocatedBytes, "KestrelCore/Applications/ApplicationOrphan");
    return sum;
}

void IdentifierClaims::add(const Text& name) {
    if (name.isEmpty()) return;
    const Text lowered = name.lowercased();
    forEachWhole(lowered, [this](const Text& whole) { above_.insert(whole); });
    names_.insert(lowered);
}

bool IdentifierClaims::hold(const Text& identifier) const {
    const Text lowered = identifier.lowercased();
    if (names_.contains(lowered) || above_.contains(lowered)) return true;
    bool isPart = false;
    forEachWhole(lowered, [&](const Text& whole) { isPart = isPart || names_.contains(whole); });
    return isPart;
}

bool isApplicationIdentifier(const Text& name) {
    std::size_t dots = 0;
    char before = '.';
    for (const char c : name.view()) {
        if (c == '.') {
            if (before == '.') return false;
            ++dots;
        } else if (before == '.' ? !isLetter(c) && c != '_' : !isLetter(c) && !isDigit(c) && c != '-' && c != '_') {
            return false;
        }
        before = c;
    }
    return dots >= 2 && before != '.';
}

std::vector<ApplicationOrphan> desktopOrphans(const IdentifierClaims& claims, const DesktopLocations& locations,
                                              const FileManager& fileManager) {
    Gathering gathering{claims, fileManager};
    const Text flatpaks = flatpakDataFolder(locations);
    for (const Text& name : contentsOf(fileManager, flatpaks)) {
        const Text path = Path::appending(flatpaks, name);
        if (!name.view().starts_with('.') && isOfType(path, FileType::directory))
            gathering.add(name, path, flatpakEvidence);
    }
    for (const Text& base : baseFolders(locations)) {
        // There the user keeps folders of any name.
        if (base == locations.homeFolder) continue;
        for (const Text& name : contentsOf(fileManager, base)) {
            const Text path = Path::appending(base, name);
            if (!isApplicationIdentifier(name) || name.lowercased().hasPrefix(desktopPrefix)) continue;
            if (isOfType(path, FileType::directory)) gathering.add(name, path, identifierEvidence);
        }
    }
    return std::move(gathering).sorted();
}

std::vector<ApplicationOrphan> libraryOrphans(const IdentifierClaims& claims, const Text& libraryFolder,
                                              const FileManager& fileManager) {
    Gathering gathering{claims, fileManager};
    if (libraryFolder.isEmpty()) return {};
    for (const LibraryPlace& place : libraryPlaces()) {
        const Text folder = Path::appending(libraryFolder, place.folder);
        const std::string_view suffix = place.suffix;
        for (const Text& name : contentsOf(fileManager, folder)) {
            if (!name.view().ends_with(suffix)) continue;
            const Text identifier = name.slice(0, name.byteCount() - suffix.size());
            if (!isApplicationIdentifier(identifier) || identifier.lowercased().hasPrefix(systemPrefix)) continue;
            const Text path = Path::appending(folder, name);
            if (isOfType(path, FileType::directory) || isOfType(path, FileType::regular))
                gathering.add(identifier, path, identifierEvidence);
        }
    }
    return std::move(gathering).sorted();
}

}  // namespace KestrelCore
