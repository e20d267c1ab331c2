#include "Deletion/SafetyRules.hpp"

#include "Base/PathComponents.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/HomeDirectory.hpp"

#include <algorithm>
#include <array>

// The rules are read twice. By text, as they are written: that reading decides about every removal. And as a tree of
// path components for the scanner, which asks about every entry of a disk: a folder's context follows from its parent's
// context and its own name, and an entry's rating from its folder's context and its name. All rules are of the kinds
// "is this path", "lies below this path" and "has this component above it", so that a place in the tree and a few bits
// say all there is to know about a folder. The tests hold the second reading against the first.

namespace KestrelCore {

namespace {

constexpr std::array systemPrefixes{"/System", "/Library", "/bin", "/sbin", "/usr", "/private", "/dev", "/Network"};
constexpr std::array neverRemovedEverywhere{"/", "/Volumes", "/Applications"};
constexpr std::array<std::string_view, 3> protectedComponents{".MobileBackups", "Backups.backupdb", ".Trashes"};
constexpr std::array cautionFolders{"/Applications", "/Users/Shared"};

constexpr const char* ownBundleMessage = "Kestrel cannot remove itself while it is running.";

bool isBeneath(std::string_view path, std::string_view folder) {
    return path.size() > folder.size() && path.starts_with(folder) && path[folder.size()] == '/';
}

bool isAtOrBeneath(std::string_view path, std::string_view folder) { return path == folder || isBeneath(path, folder); }

/// Whether a component equals `protectedName` and something follows it.
bool hasInnerComponent(std::string_view path, std::string_view protectedName) {
    for (std::size_t at = path.find(protectedName); at != std::string_view::npos;
         at = path.find(protectedName, at + 1)) {
        const std::size_t end = at + protectedName.size();
        if (at > 0 && path[at - 1] == '/' && end < path.size() && path[end] == '/') return true;
    }
    return false;
}

std::vector<std::string> forms(const std::vector<Text>& paths) {
    std::vector<std::string> result;
    for (const Text& path : paths) result.push_back(path.normalized().string());
    return result;
}

bool isASCII(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

SafetyRules::SafetyRules(const Text& home, const Text& ownBundle, const SystemLocations& locations,
                         const Vocabulary& words)
    : home_{home}, ownBundle_{ownBundle}, words_{words} {
    for (const char* path : neverRemovedEverywhere) neverRemoved_.emplace_back(path);
    neverRemoved_.push_back(home);
    for (const Text& path : locations.neverRemoved) neverRemoved_.push_back(path);
    neverRemovedForms_ = forms(neverRemoved_);
    managedForms_ = forms(locations.managed);
    managedExemptForms_ = forms(locations.managedExempt);
    if (ownBundle != Text{"/"}) ownBundleForm_ = ownBundle.normalized().string();

    // A home directory "/" has no text in front of its "/Library/", and must not exempt the whole disk.
    const std::string homeForm = home.normalized().string();
    if (homeForm != "/") {
        managedExemptForms_.push_back(homeForm);
        highForms_.push_back(homeForm + "/Library");
        for (const std::string& name : forms(locations.homeFolders)) highForms_.push_back(homeForm + "/" + name);
    }

    places_.emplace_back();
    const auto mark = [this](std::string_view path, bool blocked, std::uint8_t below) {
        Place& found = places_[place(path)];
        found.isBlockedItself |= blocked;
        found.below = static_cast<std::uint8_t>(found.below | below);
    };
    for (const std::string& path : neverRemovedForms_) mark(path, true, 0);
    for (const char* path : systemPrefixes) mark(path, true, isBlocked);
    for (const std::string& path : managedForms_) mark(path, false, isManaged);
    for (const std::string& path : managedExemptForms_) mark(path, false, isManagedExempt);
    if (!ownBundleForm_.empty()) mark(ownBundleForm_, true, isBlocked);
    for (const std::string& path : highForms_) mark(path, false, isHigh);
    for (const char* path : cautionFolders) mark(path, false, isCaution);
}

const SafetyRules& SafetyRules::ofThisProcess() {
    static const SafetyRules rules = [] {
        // As the paths of records are: bytes that are not UTF-8 are replaced in both.
        const Text home{currentHomePath()};
        SafetyRules made{home, ownBundle(mainBundlePath(), mainExecutablePath(), home), systemLocations()};
        made.ownExecutable_ = mainExecutablePath();
        return made;
    }();
    return rules;
}

Text SafetyRules::ownBundle(const Text& bundle, const Text& executable, const Text& home) {
    const Text bundleForm = bundle.normalized();
    const Text homeForm = home.normalized();
    const bool holdsHome = bundleForm == Text{"/"} || isAtOrBeneath(homeForm.view(), bundleForm.view());
    return holdsHome ? executable : bundle;
}

std::vector<SafetyRules::ProtectedPlace> SafetyRules::protectedPlaces() const {
    std::vector<ProtectedPlace> result;
    for (const Text& path : neverRemoved_) result.push_back({path, words_.neverRemoved});
    for (const Text& path : {ownBundle_, ownExecutable_})
        if (!path.isEmpty()) result.push_back({path, ownBundleMessage});
    return result;
}

// MARK: the rules by text

Text SafetyRules::canonicalPath(const URL& url) {
    // Standardising leaves no doubled slash in the path: an escaped one stays escaped.
    return url.standardized().path();
}

std::optional<Text> SafetyRules::blockedReason(const URL& url) const { return blockedReason(canonicalPath(url)); }

std::optional<Text> SafetyRules::blockedReason(const Text& canonicalPath) const {
    const Text form = canonicalPath.normalized();
    const std::string_view path = form.view();
    const auto holds = [path](std::string_view folder) { return isAtOrBeneath(path, folder); };

    if (std::find(neverRemovedForms_.begin(), neverRemovedForms_.end(), path) != neverRemovedForms_.end())
        return words_.neverRemoved;
    if (std::any_of(systemPrefixes.begin(), systemPrefixes.end(), holds)) return words_.managed;
    if (std::any_of(managedForms_.begin(), managedForms_.end(), holds) &&
        std::none_of(managedExemptForms_.begin(), managedExemptForms_.end(),
                     [path](std::string_view folder) { return isBeneath(path, folder); }))
        return words_.managed;
    if (std::any_of(protectedComponents.begin(), protectedComponents.end(),
                    [path](std::string_view name) { return hasInnerComponent(path, name); }))
        return protectedMessage;
    if (!ownBundleForm_.empty() && isAtOrBeneath(path, ownBundleForm_)) return ownBundleMessage;
    return std::nullopt;
}

RiskLevel SafetyRules::risk(const URL& url) const {
    return risk(canonicalPath(url), url.lastPathComponent(), url.pathExtension());
}

RiskLevel SafetyRules::risk(const Text& canonicalPath, const Text& name, const Text& fileExtension) const {
    if (blockedReason(canonicalPath)) return RiskLevel::blocked;
    const Text form = canonicalPath.normalized();
    const auto holds = [path = form.view()](std::string_view folder) { return isBeneath(path, folder); };
    if (std::any_of(highForms_.begin(), highForms_.end(), holds)) return RiskLevel::high;
    if (name.hasPrefix(".")) return RiskLevel::high;
    if (fileExtension == Text{"app"}) return RiskLevel::high;
    if (std::any_of(cautionFolders.begin(), cautionFolders.end(), holds)) return RiskLevel::caution;
    return RiskLevel::normal;
}

void SafetyRules::validate(const FileRecord& record) const {
    const URL url = URL::fromPath(record.path()).standardized();
    if (const auto reason = blockedReason(url)) throw KestrelError::safetyViolation(*reason);

    std::string walked;
    for (const Text& component : url.pathComponents()) {
        if (component == Text{"/"}) continue;
        walked.append("/").append(component.view());
        const FileStatusResult step = fileStatus(walked);
        if (step.status && step.status->type == FileType::symbolicLink)
            throw KestrelError::safetyViolation(words_.symbolicLink);
    }

    const FileStatusResult found = fileStatus(url.path().string());
    if (!found.status) throw KestrelError::staleItem(missingMessage);
    if (record.identity() != FileIdentity{found.status->device, found.status->inode})
        throw KestrelError::staleItem(changedMessage);
}

// MARK: the rules as a tree

/// Adds the path, given in normal form C, and the folders above it.
std::uint16_t SafetyRules::place(std::string_view path) {
    std::uint16_t at = 0;
    forEachComponent(path, [this, &at](std::string_view name) {
        std::uint16_t next = find(at, name);
        if (next == noPlace) {
            next = static_cast<std::uint16_t>(places_.size());
            places_.push_back({.name = std::string{name}, .children = {}});
            places_[at].children.push_back(next);
        }
        at = next;
    });
    return at;
}

std::uint16_t SafetyRules::find(std::uint16_t parent, std::string_view name) const {
    if (parent == noPlace || places_[parent].children.empty()) return noPlace;
    const Text form = isASCII(name) ? Text{} : Text{name}.normalized();
    const std::string_view key = form.isEmpty() ? name : form.view();
    for (const std::uint16_t child : places_[parent].children)
        if (places_[child].name == key) return child;
    return noPlace;
}

SafetyRules::FolderContext SafetyRules::root(const Text& rootPath) const {
    FolderContext context{.place = 0, .below = places_[0].below};
    forEachComponent(rootPath.view(), [&](std::string_view name) { context = child(context, name); });
    return context;
}

SafetyRules::FolderContext SafetyRules::child(const FolderContext& parent, std::string_view name) const {
    FolderContext context{.place = find(parent.place, name), .below = parent.below};
    if (context.place != noPlace)
        context.below = static_cast<std::uint8_t>(context.below | places_[context.place].below);
    // Bytes will do: no text that is not ASCII is canonically equal to one of these.
    if (std::find(protectedComponents.begin(), protectedComponents.end(), name) != protectedComponents.end())
        context.below |= isBlocked;
    return context;
}

RiskLevel SafetyRules::risk(const FolderContext& parent, std::string_view name, bool extensionIsAppExactly) const {
    const std::uint16_t place = find(parent.place, name);
    const bool isManagedItself = place != noPlace && (places_[place].below & isManaged) != 0;
    if ((parent.below & isBlocked) != 0 || (place != noPlace && places_[place].isBlockedItself))
        return RiskLevel::blocked;
    if (((parent.below & isManaged) != 0 || isManagedItself) && (parent.below & isManagedExempt) == 0)
        return RiskLevel::blocked;
    if ((parent.below & isHigh) != 0 || beginsWithDot(name) || extensionIsAppExactly) return RiskLevel::high;
    return (parent.below & isCaution) != 0 ? RiskLevel::caution : RiskLevel::normal;
}

}  // namespace KestrelCore
