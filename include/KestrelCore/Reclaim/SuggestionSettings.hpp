#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstddef>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What the anchors of rules stand for. Absolute paths.
struct KESTRELCORE_EXPORT ReclaimPlaces {
    Text home;           ///< "~"
    Text cache;          ///< "$CACHE"
    Text configuration;  ///< "$CONFIG"
    Text data;           ///< "$DATA"
    Text state;          ///< "$STATE"
    Text library;        ///< "$LIBRARY"
    Text trash;          ///< "$TRASH", the person's own

    /// As the environment of this process says. Throws as `DesktopLocations::current`.
    [[nodiscard]] static ReclaimPlaces ofThisProcess();
    /// The standard places of somebody who has set nothing.
    [[nodiscard]] static ReclaimPlaces below(const Text& home);
};

/// How suggestions are made.
struct SuggestionSettings {
    ReclaimPlaces places;
    std::optional<Date> now{};  ///< what ages count back from; absent: the clock's time
    /// Only what lies below this folder. A person named it: what is in it is theirs to sort out, also where it lies
    /// outside of their home directory. Absent: all of the scan.
    std::optional<Text> folder{};
    /// Identifiers of the rules whose groups are wanted; empty: all. What other rules claim first stays theirs.
    std::vector<Text> onlyRules{};
    /// How many items of a group become records; absent: all. Counts and bytes are of all.
    std::optional<std::size_t> mostItems{};
    /// Whether the repositories that items lie in are asked what they track, so that it is left out: the one thing that
    /// is read from the disk, a file for each repository. Without it the disk is not touched.
    bool readsRepositories = true;
    std::optional<CancellationToken> cancellation{};  ///< absent: it can't be abandoned
};

}  // namespace KestrelCore
