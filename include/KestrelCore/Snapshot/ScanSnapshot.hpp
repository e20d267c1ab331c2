#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/ScanIssue.hpp"
#include "KestrelCore/Model/ScanScope.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"
#include "KestrelCore/Snapshot/FolderListing.hpp"
#include "KestrelCore/Snapshot/RecordList.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace KestrelCore {

struct SnapshotContents;

/// The finished result of one scan. Never changes after construction; copies share everything, and any number of
/// threads may read one at once. Equality and hash are those of the `id` alone.
class KESTRELCORE_EXPORT ScanSnapshot {
public:
    /// Stores the values as given and builds the path index over the records. Nothing is checked: what comes from
    /// outside is asked with `isConsistent`.
    ScanSnapshot(UUID id, ScanScope scope, Date startedAt, Date completedAt, const std::vector<FileRecord>& records,
                 std::vector<ScanIssue> issues);

    [[nodiscard]] const UUID& id() const;
    [[nodiscard]] const ScanScope& scope() const;
    [[nodiscard]] Date startedAt() const;
    [[nodiscard]] Date completedAt() const;
    /// Every item of the scan, in the order in which it was stored.
    [[nodiscard]] const RecordList& records() const;
    [[nodiscard]] const std::vector<ScanIssue>& issues() const;

    /// The record with that path (canonical equivalence, nothing else normalised); empty when there is none. When two
    /// records share a path, the later one.
    [[nodiscard]] std::optional<FileRecord> record(const Text& path) const;
    /// The records that name `folder` as their parent (absent: those without a parent), largest `displayBytes` first,
    /// equal sizes in the order of `records`. No sorting happens here. Empty for an unknown path.
    [[nodiscard]] std::vector<FileRecord> children(const std::optional<Text>& folder = std::nullopt) const;
    /// The folder at `path` (canonical equivalence) with its entries and what lies below each. Empty for a path that no
    /// directory or package has, and no record names as its parent. The first call for a snapshot makes what all later
    /// ones share, in some tenths of a second for a million records.
    [[nodiscard]] std::optional<FolderListing> listing(const Text& path) const;
    /// The aggregate size of the record at the scope root's path, in bytes; 0 when there is none.
    [[nodiscard]] std::int64_t totalAllocatedBytes() const;

    /// A snapshot without the records at `paths` and beneath them, with the sizes of the folders above reduced by what
    /// was removed. Paths that are no records are ignored; when none is left, this snapshot itself comes back. Stops
    /// the process when two records share a path or a byte sum overflows: ask `isConsistent` first for a snapshot that
    /// comes from outside.
    [[nodiscard]] ScanSnapshot removing(const std::unordered_set<Text>& paths) const;

    /// A snapshot of the same records whose allocations are the lengths of their contents (`logicalBytes`), folders'
    /// aggregates summed up of these, a further hard link for nothing: what `du --apparent-size` counts. For showing,
    /// not for keeping. Lengths count up to 2^62 bytes together, since a sparse file may claim any.
    [[nodiscard]] ScanSnapshot withLogicalSizes() const;

    /// The records that answer a typed query best, best first and at most `limit` of them; none for a limit of 0 or
    /// below. Words are found in names and paths, also with a small slip; equal matches come in the order of
    /// `records`. The first search over a snapshot builds what all later ones share.
    [[nodiscard]] std::vector<FileRecord> search(const SearchQuery& query, std::int64_t limit) const;
    /// The same; empty when it was cancelled before it was done.
    [[nodiscard]] std::optional<std::vector<FileRecord>> search(const SearchQuery& query, std::int64_t limit,
                                                                const CancellationToken& cancellation) const;
    /// The same with each record's score, and with how the query was understood.
    [[nodiscard]] std::optional<SearchAnswer> search(const SearchQuery& query, std::int64_t limit,
                                                     const SearchSettings& settings) const;

    /// False when a path occurs twice, a size is negative, or the sizes of all records together pass 2^62 bytes; of
    /// each record the larger of its own and its aggregate size counts. Then no sum over any of the records overflows.
    [[nodiscard]] bool isConsistent() const;

    /// The snapshot as one JSON text, some 500 bytes for each record: of a million, half a gigabyte in memory. The
    /// store writes the same text in pieces. Throws `EncodingError` for a date that is no finite number.
    [[nodiscard]] std::string encodedJSON() const;
    /// Reads what `encodedJSON` writes, in any order of keys; unknown ones are passed over. Throws `DecodingError`.
    /// What it says may contradict itself: ask `isConsistent` before anything is added up.
    [[nodiscard]] static ScanSnapshot decodingJSON(std::string_view json);

    friend bool operator==(const ScanSnapshot& a, const ScanSnapshot& b) { return a.id() == b.id(); }

private:
    friend struct SnapshotAccess;
    explicit ScanSnapshot(std::shared_ptr<const SnapshotContents> contents) : contents_{std::move(contents)} {}

    std::shared_ptr<const SnapshotContents> contents_;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ScanSnapshot> {
    std::size_t operator()(const KestrelCore::ScanSnapshot& snapshot) const {
        return std::hash<KestrelCore::UUID>{}(snapshot.id());
    }
};
