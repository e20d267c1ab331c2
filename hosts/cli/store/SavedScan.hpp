#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Exchange/SnapshotExport.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"
#include "KestrelCore/Reclaim/ReclaimCatalogue.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/GenerationReader.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCLI {

/// A saved scan that a command answers from: a generation of the history, or the one scan of the database that --store
/// names. Of a generation only what is asked for is read.
///
/// What throws does so with one finished sentence; `Interrupted` when the user asked to stop while something was read.
class SavedScan {
public:
    /// The newest one, or what --at names. Throws when there is none, or none that can be read.
    [[nodiscard]] static SavedScan newest(const Session& session);
    /// The same of those that cover `path`, where there are any.
    [[nodiscard]] static SavedScan newestOf(const Session& session, const KestrelCore::Text& path);

    explicit SavedScan(KestrelCore::GenerationReader generation)
        : summary_{generation.generation()}, generation_{std::move(generation)} {}
    explicit SavedScan(KestrelCore::ScanSnapshot snapshot);

    /// Number, root, dates and totals. The number is 0 for the scan of a snapshot database.
    [[nodiscard]] const KestrelCore::Generation& summary() const { return summary_; }
    /// All of it, fit for use.
    [[nodiscard]] KestrelCore::ScanSnapshot snapshot() const;
    /// As `ScanSnapshot::search`.
    [[nodiscard]] std::optional<KestrelCore::SearchAnswer> search(const KestrelCore::SearchQuery& query,
                                                                  std::int64_t limit,
                                                                  const KestrelCore::SearchSettings& settings) const;
    [[nodiscard]] std::optional<KestrelCore::FileRecord> record(const KestrelCore::Text& path) const;
    /// What lies in the folder, largest first.
    [[nodiscard]] std::vector<KestrelCore::FileRecord> children(const KestrelCore::Text& folder) const;
    /// The folder with what lies below each of its items; empty for what is no folder of the scan.
    [[nodiscard]] std::optional<KestrelCore::FolderListing> listing(const KestrelCore::Text& folder) const;
    /// As `Suggestions::of`. Of a snapshot database there are none: it throws.
    [[nodiscard]] std::optional<KestrelCore::Suggestions>
    suggestions(const KestrelCore::ReclaimCatalogue& catalogue, const KestrelCore::SuggestionSettings& settings) const;
    /// As `Summary::of`.
    [[nodiscard]] std::optional<KestrelCore::Summary> summarize(const KestrelCore::Text& folder,
                                                                KestrelCore::SummaryGrouping grouping,
                                                                const KestrelCore::SummarySettings& settings) const;
    /// As `KestrelCore::exportFolder`.
    [[nodiscard]] std::optional<KestrelCore::ExportResult>
    exportFolder(const KestrelCore::Text& folder, const KestrelCore::ByteSink& sink,
                 const KestrelCore::ExportOptions& options) const;

private:
    KestrelCore::Generation summary_;
    // One of the two.
    std::optional<KestrelCore::GenerationReader> generation_;
    std::optional<KestrelCore::ScanSnapshot> snapshot_;
};

/// What a name on the command line may mean: by its text first, since what was scanned may be gone by now, or be a
/// link, and is in the scan all the same; then as the system sees it, because a link on the way, or "..", may lead to
/// what the scan knows under its real path.
[[nodiscard]] std::vector<KestrelCore::Text> meanings(const std::string& name);

/// What a name on the command line means among the saved scans.
struct NamedRecord {
    SavedScan scan;
    KestrelCore::FileRecord record;

    /// Finds the record that `name` means (absolute, or relative to the working directory; by its text first, then with
    /// links resolved) in the newest scan that covers it, or in the one that --at names. Throws as `SavedScan`, also
    /// when there is no such record.
    [[nodiscard]] static NamedRecord find(const Session& session, const std::string& name);
    /// The folder or package that the first of `names` means; without any the top of the newest scan, or of the one
    /// that
    /// --at names. Throws as `find`, and for what is no folder.
    [[nodiscard]] static NamedRecord folder(const Session& session, const std::vector<std::string>& names);
};

/// One line above the results for a person: what was scanned and how long ago. Nothing with --json.
void writeAge(const Session& session, const KestrelCore::Generation& scan);

/// The summary of a snapshot that is in no history.
[[nodiscard]] KestrelCore::Generation summaryOf(const KestrelCore::ScanSnapshot& snapshot);

}  // namespace KestrelCLI
