#pragma once

#include "output/Session.hpp"
#include "output/Times.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// The snapshot in the store of this run, fit for use. Throws an exception whose text is one finished sentence when
/// there is none, when it can't be read, or when it contradicts itself; `Interrupted` when the user asked to stop while
/// it was read. Where no file or an empty one is, nothing is created; any other file is opened as a store, which adds
/// an empty table to a database without ours.
[[nodiscard]] KestrelCore::ScanSnapshot loadSavedSnapshot(const Session& session);

/// The record that `name` means (absolute, or relative to the working directory; by its text first, then with links
/// resolved). Throws in the same way when the snapshot has none.
[[nodiscard]] KestrelCore::FileRecord recordNamed(const KestrelCore::ScanSnapshot& snapshot, const std::string& name);

/// One line above the results for a person: what was scanned and how long ago. Nothing with --json.
void writeAge(const Session& session, const KestrelCore::ScanSnapshot& snapshot);

/// What the saved snapshot says of the folder that is scanned anew.
struct EarlierScan {
    std::int64_t totalBytes = 0;
    KestrelCore::Date completedAt;
};
/// Empty when nothing usable is saved, what is saved contradicts itself, or it is of another folder. Throws nothing;
/// leaves the store's place as `loadSavedSnapshot` does.
[[nodiscard]] std::optional<EarlierScan> earlierScan(const Session& session, const KestrelCore::URL& root);

/// Makes `snapshot` the saved one. False when that failed; then it has said why, and the earlier one stays.
[[nodiscard]] bool save(const Session& session, const KestrelCore::ScanSnapshot& snapshot);

/// What is said when the store at `path` did not take a scan, for the reason that the library gave.
[[nodiscard]] std::string whyNotSaved(const std::string& path, std::string_view reason);

/// How a total differs from an earlier one: "1.20 GB more than 3 days ago".
[[nodiscard]] std::string change(const Session& session, std::int64_t totalBytes, const EarlierScan& earlier,
                                 KestrelCore::Date now);

}  // namespace KestrelCLI
