#pragma once

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCore::testing {

/// What matters of a record to a search; the rest is made up.
struct SearchedRecord {
    Text path;
    FileKind kind = FileKind::file;
    std::int64_t allocatedBytes = 0;
    std::int64_t aggregateBytes = 0;
    std::optional<Date> modifiedAt = std::nullopt;
    bool isHidden = false;
    std::optional<Text> fileExtension = std::nullopt;  ///< absent: what the path says
    std::optional<Text> name = std::nullopt;           ///< absent: what the path says
};

[[nodiscard]] inline FileRecord recordOf(const SearchedRecord& record) {
    return FileRecord{{.id = UUID::random(),
                       .parentPath = Path::deletingLastComponent(record.path),
                       .path = record.path,
                       .name = record.name.value_or(Path::lastComponent(record.path)),
                       .kind = record.kind,
                       .logicalBytes = record.allocatedBytes,
                       .allocatedBytes = record.allocatedBytes,
                       .aggregateAllocatedBytes = record.aggregateBytes,
                       .modifiedAt = record.modifiedAt,
                       .fileExtension = record.fileExtension.value_or(Path::extension(record.path).lowercased()),
                       .isHidden = record.isHidden}};
}

[[nodiscard]] inline ScanSnapshot snapshotOf(const std::vector<SearchedRecord>& searched) {
    std::vector<FileRecord> records;
    for (const SearchedRecord& record : searched) records.push_back(recordOf(record));
    return ScanSnapshot{UUID::random(), ScanScope{URL::fromPath("/")}, Date{0}, Date{0}, records, {}};
}

/// A snapshot of files that have nothing but a path.
[[nodiscard]] inline ScanSnapshot snapshotOfFiles(const std::vector<Text>& paths) {
    std::vector<SearchedRecord> searched;
    for (const Text& path : paths) searched.push_back({.path = path});
    return snapshotOf(searched);
}

/// Path and score of each result, best first.
using Found = std::vector<std::pair<std::string, std::int64_t>>;

[[nodiscard]] inline Found found(const ScanSnapshot& snapshot, const SearchQuery& query, std::int64_t limit = 100,
                                 const SearchSettings& settings = {}) {
    Found result;
    const std::optional<SearchAnswer> answer = snapshot.search(query, limit, settings);
    for (const ScoredRecord& one : answer->results) {
        result.emplace_back(one.record.path().string(), one.score);
    }
    return result;
}

[[nodiscard]] inline Found found(const ScanSnapshot& snapshot, const char* text) {
    return found(snapshot, SearchQuery{text});
}

}  // namespace KestrelCore::testing
