#pragma once

#include "commands/ScanRun.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCLI {

/// What is shown of the scans: with lengths in place of sizes where that is asked for.
struct ShownScans {
    std::vector<KestrelCore::ScanSnapshot> snapshots;
    std::vector<std::vector<TreeLine>> trees;    ///< one for each
    std::vector<KestrelCore::FileRecord> files;  ///< the largest of all
    std::int64_t totalBytes = 0;

    ShownScans(const FinishedScans& all, const ScanCommandOptions& options);
};

/// All of it as one object. `scanOptions` are those of all scans.
void writeJSON(const Session& session, const FinishedScans& all, const ShownScans& shown,
               const ScanCommandOptions& options, const KestrelCore::ScanOptions& scanOptions);

/// The trees, the largest files, and the issues if asked for.
void writeText(const Session& session, const FinishedScans& all, const ShownScans& shown,
               const ScanCommandOptions& options);
/// A line that sums up and compares with the scan before, whose total was of the disk; of several folders a line for
/// each that was scanned before. `length` is that of the contents, where these were asked for.
void writeSummary(const Session& session, const FinishedScans& all, std::optional<std::int64_t> length);
/// What a comparison with the scans before has to say, of one folder with the largest changes.
void writeComparison(const Session& session, const FinishedScans& all);

}  // namespace KestrelCLI
