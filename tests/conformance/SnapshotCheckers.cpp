#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/SnapshotPruning.hpp"
#include "conformance/Checkers.hpp"
#include "support/Vectors.hpp"

#include <fmt/format.h>

#include <unordered_set>

namespace KestrelCore::conformance {

namespace {

using simdjson::dom::array;
using simdjson::dom::element;
using testing::textOf;
using testing::textsOf;

std::optional<Text> optionalTextOf(element value) {
    return value.is_null() ? std::nullopt : std::optional{textOf(value)};
}

std::string joined(const std::vector<Text>& texts) {
    std::string result;
    for (const Text& text : texts) result.append(text.view()).append("\n");
    return result;
}

template <typename Items, typename PathOf>
std::string joinedPaths(const Items& items, PathOf pathOf) {
    std::string result;
    for (const auto& item : items) result.append(pathOf(item).view()).append("\n");
    return result;
}

const Text& pathOfRecord(const FileRecord& record) { return record.path(); }
const Text& pathOfIssue(const ScanIssue& issue) { return issue.path; }

void checkChildren(const ScanSnapshot& snapshot, element rows, const std::string& what, Report& report) {
    for (const element row : array{rows}) {
        const std::optional<Text> of = optionalTextOf(row["of"]);
        report.expectEqual(joined(textsOf(row["paths"])), joinedPaths(snapshot.children(of), pathOfRecord),
                           what + "children of " + (of ? of->string() : "nothing"));
    }
}

/// Each record's risk, and why it is blocked, by the rules with that home and no lists of the system's own.
void checkSafety(const ScanSnapshot& snapshot, const Text& home, element row, const std::string& what, Report& report) {
    const SafetyRules rules{home, "/Applications/Kestrel.app", SystemLocations{}, macOSVocabulary()};
    const array risks{row["risk"]};
    const array reasons{row["blocked"]};
    std::size_t index = 0;
    for (const FileRecord& record : snapshot.records()) {
        const std::string at = what + record.path().string();
        report.expectEqual(std::int64_t{risks.at(index)}, std::int64_t{rawValue(rules.risk(record.url()))},
                           at + " risk");
        const Text expected = optionalTextOf(reasons.at(index)).value_or("none");
        report.expectEqual(expected.view(), rules.blockedReason(record.url()).value_or("none").view(), at + " blocked");
        ++index;
    }
}

/// What `removing` answers. Some snapshots hold a path twice, at which `removing` stops the process; the reference
/// answers tell what the work behind it gives, which is asked for here.
ScanSnapshot pruned(const ScanSnapshot& snapshot, const std::unordered_set<Text>& paths) {
    if (!SnapshotAccess::lookup(snapshot).hasDuplicatePaths()) return snapshot.removing(paths);
    const SnapshotPruning pruning{SnapshotAccess::storage(snapshot), SnapshotAccess::lookup(snapshot),
                                  snapshot.issues(), paths};
    if (pruning.isEmpty()) return snapshot;
    return SnapshotAccess::make(UUID::random(), snapshot.scope(), snapshot.startedAt(), snapshot.completedAt(),
                                pruning.keptRecords(), pruning.keptIssues());
}

void checkRemoving(const ScanSnapshot& snapshot, element rows, const std::string& what, Report& report) {
    for (const element row : array{rows}) {
        const std::vector<Text> paths = textsOf(row["paths"]);
        const std::string at = what + "without " + joined(paths);
        const ScanSnapshot rest = pruned(snapshot, std::unordered_set<Text>{paths.begin(), paths.end()});
        report.expectEqual(bool{row["same"]}, rest == snapshot, at + " same");
        report.expectEqual(std::int64_t{row["total"]}, rest.totalAllocatedBytes(), at + " total");
        report.expectEqual(joined(textsOf(row["issues"])), joinedPaths(rest.issues(), pathOfIssue), at + " issues");
        std::string expected;
        for (const element record : array{row["records"]}) {
            const array pair{record};
            expected += fmt::format("{} {}\n", std::string_view{pair.at(0)}, std::int64_t{pair.at(1)});
        }
        std::string actual;
        for (const FileRecord& record : rest.records()) {
            actual += fmt::format("{} {}\n", record.path().view(), record.aggregateAllocatedBytes());
        }
        report.expectEqual(expected, actual, at + " records");
    }
}

void checkLibraries(const ScanSnapshot& snapshot, const Text& home, element row, const std::string& what,
                    Report& report) {
    const MediaLibraryIndex media = MediaLibraryIndexer::makeIndex(snapshot, home);
    const auto pathOf = [](const auto& asset) -> const Text& { return asset.record.path(); };
    report.expectEqual(joined(textsOf(row["images"])), joinedPaths(media.images, pathOf), what + "images");
    report.expectEqual(joined(textsOf(row["videos"])), joinedPaths(media.videos, pathOf), what + "videos");
    report.expectEqual(std::int64_t{row["imageBytes"]}, media.imageBytes(), what + "imageBytes");
    report.expectEqual(std::int64_t{row["videoBytes"]}, media.videoBytes(), what + "videoBytes");
    const DocumentLibraryIndex documents = DocumentLibraryIndexer::makeIndex(snapshot, home);
    report.expectEqual(joined(textsOf(row["documents"])), joinedPaths(documents.documents, pathOf), what + "documents");
    std::vector<Text> kinds;
    for (const DocumentAsset& asset : documents.documents) kinds.emplace_back(rawValue(asset.kind));
    report.expectEqual(joined(textsOf(row["documentKinds"])), joined(kinds), what + "documentKinds");
    report.expectEqual(std::int64_t{row["documentBytes"]}, documents.totalBytes(), what + "documentBytes");
}

}  // namespace

void checkSnapshots(element root, Report& report) {
    std::size_t index = 0;
    for (const element row : array{root}) {
        const std::string what = fmt::format("snapshot {}: ", index++);
        const ScanSnapshot snapshot = ScanSnapshot::decodingJSON(std::string_view{row["payload"]});
        const Text home = textOf(row["home"]);
        report.expectEqual(std::int64_t{row["total"]}, snapshot.totalAllocatedBytes(), what + "total");
        checkChildren(snapshot, row["children"], what, report);
        checkSafety(snapshot, home, row, what, report);
        checkRemoving(snapshot, row["removing"], what, report);
        checkLibraries(snapshot, home, row, what, report);
        checkSearches(snapshot, row["searches"], report);
    }
}

}  // namespace KestrelCore::conformance
