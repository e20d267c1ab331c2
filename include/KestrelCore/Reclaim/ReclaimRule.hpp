#pragma once

#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// How sure it is that what a rule finds is not missed, the surest first.
enum class ReclaimCertainty : std::uint8_t {
    regenerates,     ///< made again from what is on this disk
    downloadsAgain,  ///< comes back over the network when it is needed
    yours            ///< the person's own: comes back from nowhere, and only they can say that it may go
};

/// Every case, in their order.
inline constexpr std::array allReclaimCertainties{ReclaimCertainty::regenerates, ReclaimCertainty::downloadsAgain,
                                                  ReclaimCertainty::yours};
/// "regenerates", "downloads again" or "yours".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(ReclaimCertainty certainty);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ReclaimCertainty>
fromRawValue<ReclaimCertainty>(std::string_view rawValue);

/// What takes more than names and ages to find.
enum class ReclaimFinder : std::uint8_t {
    emptyFolders,         ///< that hold nothing, or only folders that hold nothing
    largeOldFiles,        ///< of at least `ReclaimMatch::smallestBytes`, unchanged for the rule's smallest age
    danglingLinks,        ///< whose target is gone; asks the disk
    applicationResidues,  ///< of applications that are not installed any more; asks the disk
    duplicates            ///< asks the disk
};
/// "empty-folders", "large-old-files", "dangling-links", "application-residues" or "duplicates".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(ReclaimFinder finder);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ReclaimFinder> fromRawValue<ReclaimFinder>(std::string_view rawValue);

/// One of the descriptions that an item may fit. Exactly one of `places`, `folders`, `files` and `finder` is given.
/// Names are patterns within a name: `*` stands for any characters, `?` for one.
struct ReclaimMatch {
    /// Folders and files with fixed paths, such as "~/.cargo/registry/cache", "$CACHE/pip" or
    /// "/var/cache/apt/archives".
    std::vector<Text> places{};
    enum class Take : std::uint8_t {
        contents,  ///< each item right in the place
        item       ///< the place as one thing
    };
    Take take = Take::contents;
    std::vector<Text> names{};     ///< of contents; empty: of any name
    bool takesFiles = true;        ///< among contents
    bool takesFolders = true;      ///< among contents
    std::vector<Text> folders{};   ///< names of folders anywhere below the person's own places
    std::vector<Text> beside{};    ///< one of these lies beside the folder; empty: not asked
    std::vector<Text> holds{};     ///< one of these lies in it; empty: not asked
    std::vector<Text> files{};     ///< names of files
    std::vector<Text> inPlaces{};  ///< where those lie, at any depth; empty: anywhere below the person's own places
    std::int64_t smallestBytes = 0;
    std::optional<ReclaimFinder> finder{};

    bool operator==(const ReclaimMatch&) const = default;
};

/// What may go, and why: one rule of the catalogue.
struct KESTRELCORE_EXPORT ReclaimRule {
    Text identifier;              ///< letters a-z, digits and "-"; the name of its file
    Text title;                   ///< as a person reads it: "Crates that Cargo downloaded"
    std::vector<Text> systems{};  ///< "linux", "macos"
    ReclaimCertainty certainty = ReclaimCertainty::yours;
    std::int32_t rank = 50;           ///< 0 to 100; an item that several rules describe belongs to that of the least
    std::chrono::days smallestAge{};  ///< nothing in a match was changed within this time; 0: not asked
    Text why;                         ///< why it may go, as a sentence
    Text comesBack;                   ///< how it comes back, or that it does not, as a sentence
    /// Of the program that it belongs to, where that is the better way; never run.
    std::optional<Text> ownersCommand{};
    /// That is the only way: what the rule finds is told, and not for a host to take away. There is a command then.
    bool isShownOnly = false;
    std::vector<ReclaimMatch> matches{};  ///< at least one

    /// Whether all that it finds needs a look at the disk: then no overview has it.
    [[nodiscard]] bool asksDisk() const;

    bool operator==(const ReclaimRule&) const = default;
};

}  // namespace KestrelCore
