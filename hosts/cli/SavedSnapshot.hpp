#pragma once

#include "Session.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/ScanSnapshot.hpp"

#include <string>

namespace KestrelCLI {

/// The snapshot in the store of this run, fit for use. Throws an exception whose text is one finished sentence when
/// there is none, when it can't be read, or when it contradicts itself. Creates nothing.
[[nodiscard]] KestrelCore::ScanSnapshot loadSavedSnapshot(const Session& session);

/// The record that `name` means (absolute, or relative to the working directory; by its text first, then with links
/// resolved). Throws in the same way when the snapshot has none.
[[nodiscard]] KestrelCore::FileRecord recordNamed(const KestrelCore::ScanSnapshot& snapshot, const std::string& name);

/// How long before `now` it was, in one unit: "just now", "1 minute ago", "3 days ago"; "in the future" for what the
/// clock has not reached.
[[nodiscard]] std::string age(KestrelCore::Date then, KestrelCore::Date now);

/// The day and minute by the local clock: "2026-11-21 09:30".
[[nodiscard]] std::string localTime(KestrelCore::Date date);

/// One line above the results for a person: what was scanned and how long ago. Nothing with --json.
void writeAge(const Session& session, const KestrelCore::ScanSnapshot& snapshot);

}  // namespace KestrelCLI
