#pragma once

#include "Base/RefusalSentences.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"
#include "Platform/SystemLocations.hpp"
#include "Platform/Vocabulary.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// The rules behind `SafetyPolicy` for one home directory, one own bundle and one system. An immutable value; any
/// thread. All tests are by text under canonical equivalence, and "/" always is a boundary.
class SafetyRules {
public:
    // Refusals that the steps after these rules give too.
    static constexpr const char* protectedMessage = protectedTrashSentence;
    static constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";
    static constexpr const char* changedMessage = changedItemSentence;

    /// `home` and `ownBundle` are absolute standardised paths; an empty `ownBundle` (or "/", which is
    /// refused anyway) protects nothing. `words` say why something is refused, and decide about nothing.
    SafetyRules(const Text& home, const Text& ownBundle, const SystemLocations& locations,
                const Vocabulary& words = systemVocabulary());

    /// The rules of this process: its home directory, its own bundle, its system's lists, all asked at the first call
    /// and kept until the process ends.
    [[nodiscard]] static const SafetyRules& ofThisProcess();
    /// What to protect of an executable: its bundle (or the folder that holds it). Where that is the home directory or
    /// a folder above it, the executable's own file: else nothing in the home directory could ever be removed.
    [[nodiscard]] static Text ownBundle(const Text& bundle, const Text& executable, const Text& home);

    [[nodiscard]] const Text& home() const { return home_; }

    /// A place that an item must neither be nor hold, under whatever path it is reached.
    struct ProtectedPlace {
        Text path;
        Text reason;  ///< the finished sentence of the refusal
    };
    /// The paths that are refused as themselves, the own bundle and the own executable.
    [[nodiscard]] std::vector<ProtectedPlace> protectedPlaces() const;

    /// The same operations as those of `SafetyPolicy`.
    [[nodiscard]] static Text canonicalPath(const URL& url);
    [[nodiscard]] std::optional<Text> blockedReason(const URL& url) const;
    [[nodiscard]] RiskLevel risk(const URL& url) const;
    void validate(const FileRecord& record) const;

    /// The refusal for a canonical path.
    [[nodiscard]] std::optional<Text> blockedReason(const Text& canonicalPath) const;
    /// The rating of a canonical path whose last component and extension are known.
    [[nodiscard]] RiskLevel risk(const Text& canonicalPath, const Text& name, const Text& fileExtension) const;

    /// What a walk needs to know about a folder to rate what is in it: where the folder stands in the tree of all paths
    /// that the rules name, and which rules hold for everything below it. Belongs to the rules that made it.
    struct FolderContext {
        std::uint16_t place = 0;  ///< index into the tree, or `noPlace`
        std::uint8_t below = 0;   ///< set of `Below` bits

        bool operator==(const FolderContext&) const = default;
    };
    /// The context of a folder given by its absolute standardised path.
    [[nodiscard]] FolderContext root(const Text& rootPath) const;
    /// The context of the folder `name` (one component, well-formed UTF-8) in `parent`.
    [[nodiscard]] FolderContext child(const FolderContext& parent, std::string_view name) const;
    /// The rating of the item `name` in `parent`; equal to the textual `risk` of its path. No path text is built.
    [[nodiscard]] RiskLevel risk(const FolderContext& parent, std::string_view name, bool extensionIsAppExactly) const;

private:
    /// Rules that hold for everything below a folder.
    enum Below : std::uint8_t {
        isBlocked = 1,
        isManaged = 2,  ///< by this system, unless exempt
        isManagedExempt = 4,
        isHigh = 8,
        isCaution = 16
    };
    static constexpr std::uint16_t noPlace = 0xFFFF;

    /// One path that a rule names, or a folder above one.
    struct Place {
        std::string name;  ///< last component in normal form C
        std::vector<std::uint16_t> children;
        bool isBlockedItself = false;  ///< whatever is exempt
        std::uint8_t below = 0;        ///< `Below` bits that begin at this folder
    };
    std::uint16_t place(std::string_view path);
    [[nodiscard]] std::uint16_t find(std::uint16_t parent, std::string_view name) const;

    Text home_;
    Text ownBundle_;
    Text ownExecutable_;  ///< empty in rules made for another process
    Vocabulary words_;
    std::vector<Text> neverRemoved_;
    // The same paths in normal form C, so that a rule is a comparison of bytes.
    std::vector<std::string> neverRemovedForms_;
    std::vector<std::string> managedForms_;
    std::vector<std::string> managedExemptForms_;
    std::vector<std::string> highForms_;
    std::string ownBundleForm_;
    std::vector<Place> places_;  ///< the first one is "/"
};

}  // namespace KestrelCore
