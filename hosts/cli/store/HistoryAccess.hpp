#pragma once

#include "output/Session.hpp"
#include "store/When.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCLI {

/// Takes a whole sentence that is no result, such as a warning.
using Remark = std::function<void(std::string_view sentence)>;

/// The history of this user, at its place. What earlier versions saved is taken over while nothing is in it yet, which
/// is said; what keeps it from that is said, too, and is no failure. Throws where the place can't be named or read, and
/// `UsageError` where --store names a database, which has no history.
[[nodiscard]] std::shared_ptr<KestrelCore::SnapshotHistory> openHistory(const Session& session);
/// The same for any thread: what is to be said goes to `remark`, and of the session only its options are read.
[[nodiscard]] std::shared_ptr<KestrelCore::SnapshotHistory> openHistory(const Session& session, const Remark& remark);

/// Whether the root of the scan is the path or a folder above it.
[[nodiscard]] bool covers(const KestrelCore::Generation& generation, const KestrelCore::Text& path);

/// That items are missing where the scan, from which a command answers, was stopped before its end; and which of
/// `others`, newest first, was not, for commands that take --at. Empty for a whole one.
[[nodiscard]] std::optional<std::string> incompleteRemark(const KestrelCore::Generation& generation,
                                                          const std::vector<KestrelCore::Generation>& others = {});
/// Says it in one line.
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
