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

/// Whether the scan was taken over from a file: it is of some disk, whatever paths it has, and nothing in it can be
/// taken away.
[[nodiscard]] bool isImported(const KestrelCore::Generation& generation);
/// The scans of this disk, newest first: what may decide what is taken away, and what is kept in step with the disk.
[[nodiscard]] std::vector<KestrelCore::Generation> scansOfThisDisk(const KestrelCore::SnapshotHistory& history);
/// What a command may answer from, newest first: the scans of this disk; where --at names one that was imported, by its
/// number or its name, those of that name, or that one.
[[nodiscard]] std::vector<KestrelCore::Generation> scansToAnswerFrom(const Session& session,
                                                                     const KestrelCore::SnapshotHistory& history);
/// Those of `all` that were imported and that `when` names, by a number or a name.
[[nodiscard]] std::vector<KestrelCore::Generation> importsNamed(std::string_view when,
                                                                const std::vector<KestrelCore::Generation>& all);
/// Throws `UsageError` where --at is neither a time nor a number nor the name of an import.
void checkAtOption(const Session& session);
/// Where and when it was scanned, in words for a person: "of web1, imported from scan.json.gz"; of a scan of this disk
/// nothing.
[[nodiscard]] std::string importRemark(const KestrelCore::Generation& generation);

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
