#pragma once

#include "output/Session.hpp"
#include "store/When.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <memory>
#include <vector>

namespace KestrelCLI {

/// The history of this user, at its place. What earlier versions saved is taken over while nothing is in it yet, which
/// is said; what keeps it from that is said, too, and is no failure. Throws where the place can't be named or read, and
/// `UsageError` where --store names a database, which has no history.
[[nodiscard]] std::shared_ptr<KestrelCore::SnapshotHistory> openHistory(const Session& session);

/// Whether the root of the scan is the path or a folder above it.
[[nodiscard]] bool covers(const KestrelCore::Generation& generation, const KestrelCore::Text& path);

/// Says in one line that items are missing where the scan, from which a command answers, was stopped before its end;
/// and which of `others`, newest first, was not, for commands that take --at.
void warnOfIncomplete(const Session& session, const KestrelCore::Generation& generation,
                      const std::vector<KestrelCore::Generation>& others = {});

/// The one of `generations`, newest first, that is meant; null where none is.
[[nodiscard]] const KestrelCore::Generation* chosen(const std::vector<KestrelCore::Generation>& generations,
                                                    const When& when);

/// The one of `generations`, newest first and at least one, that --at means; without the option the newest. Throws an
/// exception with a finished sentence where --at means none of them.
[[nodiscard]] const KestrelCore::Generation& chosenByOption(const Session& session,
                                                            const std::vector<KestrelCore::Generation>& generations);

}  // namespace KestrelCLI
