#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

class HistoryDatabase;

/// One generation of a history, opened by `SnapshotHistory::open`: what several questions need is read once.
///
/// It sees the generation as it was when it was opened, also when that is forgotten meanwhile. While it stands, what
/// others write can't be moved from the log beside the file into the file: it is not for keeping. Any thread may ask.
/// The calls throw as those of the history do.
class KESTRELCORE_EXPORT GenerationReader {
public:
    GenerationReader(GenerationReader&& other) noexcept;
    GenerationReader& operator=(GenerationReader&& other) noexcept;
    ~GenerationReader();

    [[nodiscard]] const Generation& generation() const;

    /// The snapshot as it was added: equal in all it has, the identifiers of its records included. All of it is read:
    /// a tenth of a second or two for a million records.
    [[nodiscard]] ScanSnapshot load() const;
    /// What `load().search(query, limit, settings)` gives, without loading all: names are read, and the rest only of
    /// what the names let through. Empty when it was cancelled.
    [[nodiscard]] std::optional<SearchAnswer> search(const SearchQuery& query, std::int64_t limit,
                                                     const SearchSettings& settings) const;
    /// The records of what lies in the folder at `path`, largest `displayBytes` first, equal sizes by name, without
    /// loading the rest. Empty for a path that is no folder of the generation.
    [[nodiscard]] std::vector<FileRecord> children(const Text& path) const;
    /// What `load().listing(path)` gives, without loading the rest: of a million records the listing of the top takes
    /// some hundredths of a second, that of a small folder less. What large folders need is read once.
    [[nodiscard]] std::optional<FolderListing> listing(const Text& path) const;
    /// The record with that path; empty where there is none.
    [[nodiscard]] std::optional<FileRecord> record(const Text& path) const;
    /// The same for many paths at once, in their order: files are read as they stand, and not one by one.
    [[nodiscard]] std::vector<std::optional<FileRecord>> records(const std::vector<Text>& paths) const;
    /// What lies below the folder at `path`; empty for a path that is no folder of the generation.
    [[nodiscard]] std::optional<FolderTotals> totals(const Text& path) const;
    /// What `Summary::of` gives for `load()`, without loading: only the columns that the grouping asks for are read.
    [[nodiscard]] std::optional<Summary> summary(const Text& path, SummaryGrouping grouping,
                                                 const SummarySettings& settings = {}) const;

private:
    friend class SnapshotHistory;
    friend struct GenerationAccess;
    struct State;
    /// The database must have a file; throws where it has no such generation.
    GenerationReader(const HistoryDatabase& database, std::int64_t number);

    std::unique_ptr<const State> state_;
};

}  // namespace KestrelCore
