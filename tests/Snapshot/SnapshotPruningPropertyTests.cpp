#include "support/Records.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>

// `removing` against a reading of its rules that looks at every pair of paths.

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;

namespace {

bool liesBeneath(const Text& path, const Text& folder) {
    if (folder == Text{"/"}) return path != folder && path.view().starts_with('/');
    const Text prefix = Text::concatenating({folder.view(), "/"}).normalized();
    return path.normalized().view().starts_with(prefix.view());
}

struct Expected {
    std::vector<std::string> paths;
    std::vector<std::int64_t> aggregates;
    std::vector<std::string> issues;
};

Expected naively(const std::vector<FileRecord>& records, const std::vector<ScanIssue>& issues,
                 const std::vector<Text>& requested) {
    std::map<Text, std::int64_t> removed;
    for (const Text& path : requested) {
        for (const FileRecord& record : records) {
            if (record.path() == path) removed.emplace(record.path(), record.displayBytes());
        }
    }
    const auto isCovered = [&](const Text& path) {
        return std::any_of(removed.begin(), removed.end(),
                           [&](const auto& entry) { return path == entry.first || liesBeneath(path, entry.first); });
    };
    Expected expected;
    for (const FileRecord& record : records) {
        if (isCovered(record.path())) continue;
        std::int64_t aggregate = record.aggregateAllocatedBytes();
        if (record.isContainer() && !removed.empty()) {
            for (const auto& [path, bytes] : removed) {
                if (liesBeneath(path, record.path())) aggregate -= bytes;
            }
            aggregate = std::max(record.allocatedBytes(), aggregate);
        }
        expected.paths.push_back(record.path().string());
        expected.aggregates.push_back(aggregate);
    }
    for (const ScanIssue& issue : issues) {
        if (!isCovered(issue.path)) expected.issues.push_back(issue.path.string());
    }
    return expected;
}

rc::Gen<Text> aPath() {
    const auto component = rc::gen::element<std::string>("a", "b", "ab", "a b", "e\u0301", "\u00E9", "", "\u0301x");
    return rc::gen::map(rc::gen::pair(rc::gen::element<std::string>("/", "", "/a/"),
                                      rc::gen::container<std::vector<std::string>>(component)),
                        [](const std::pair<std::string, std::vector<std::string>>& parts) {
                            std::string path = parts.first;
                            for (std::size_t i = 0; i < std::min<std::size_t>(parts.second.size(), 5); ++i) {
                                path += (i == 0 ? "" : "/") + parts.second[i];
                            }
                            return Text{path};
                        });
}

}  // namespace

RC_GTEST_PROP(SnapshotPruning, equalsTheNaiveReading, ()) {
    const auto paths = *rc::gen::container<std::vector<Text>>(aPath());
    std::vector<FileRecord> records;
    for (const Text& path : paths) {
        const bool isKnown =
            std::any_of(records.begin(), records.end(), [&](const FileRecord& r) { return r.path() == path; });
        if (isKnown) continue;
        const auto sizes =
            *rc::gen::pair(rc::gen::inRange<std::int64_t>(-5, 1000), rc::gen::inRange<std::int64_t>(-5, 1000));
        records.push_back(aRecord({.path = path,
                                   .isTop = *rc::gen::arbitrary<bool>(),
                                   .kind = *rc::gen::element(FileKind::file, FileKind::directory, FileKind::package),
                                   .allocated = sizes.first,
                                   .aggregate = sizes.second}));
    }
    std::vector<ScanIssue> issues;
    for (const Text& path : *rc::gen::container<std::vector<Text>>(aPath())) issues.push_back({path, "m"});
    std::vector<Text> requested = *rc::gen::container<std::vector<Text>>(aPath());
    for (const FileRecord& record : records) {
        if (*rc::gen::inRange(0, 4) == 0) requested.push_back(record.path());
    }

    const ScanSnapshot snapshot = aSnapshot("/a", records, issues);
    const ScanSnapshot rest = snapshot.removing({requested.begin(), requested.end()});
    const Expected expected = naively(records, issues, requested);
    RC_ASSERT(testing::pathsOf(rest.records()) == expected.paths);
    for (std::size_t i = 0; i < expected.aggregates.size(); ++i) {
        RC_ASSERT(rest.records()[i].aggregateAllocatedBytes() == expected.aggregates[i]);
    }
    std::vector<std::string> issuePaths;
    for (const ScanIssue& issue : rest.issues()) issuePaths.push_back(issue.path.string());
    RC_ASSERT(issuePaths == expected.issues);
    RC_ASSERT((rest == snapshot) == (expected.paths.size() == records.size()));
}

RC_GTEST_PROP(SnapshotLookup, equalsTheNaiveReading, ()) {
    std::vector<FileRecord> records;
    for (const Text& path : *rc::gen::container<std::vector<Text>>(aPath())) {
        records.push_back(aRecord({.path = path,
                                   .parent = *rc::gen::arbitrary<bool>() ? std::optional{*aPath()} : std::nullopt,
                                   .isTop = *rc::gen::inRange(0, 8) == 0,
                                   .kind = *rc::gen::element(FileKind::file, FileKind::directory),
                                   .allocated = *rc::gen::inRange<std::int64_t>(0, 4),
                                   .aggregate = *rc::gen::inRange<std::int64_t>(0, 4)}));
    }
    const ScanSnapshot snapshot = aSnapshot("/a", records);
    std::vector<std::optional<Text>> questions{std::nullopt};
    for (const Text& path : *rc::gen::container<std::vector<Text>>(aPath())) questions.emplace_back(path);
    for (const FileRecord& record : records) {
        questions.emplace_back(record.path());
        questions.push_back(record.parentPath());
    }
    for (const auto& question : questions) {
        std::vector<FileRecord> children;
        std::optional<FileRecord> found;
        for (const FileRecord& record : records) {
            if (record.parentPath() == question) children.push_back(record);
            if (question && record.path() == *question) found = record;
        }
        std::stable_sort(children.begin(), children.end(),
                         [](const FileRecord& a, const FileRecord& b) { return a.displayBytes() > b.displayBytes(); });
        RC_ASSERT(snapshot.children(question) == children);
        if (question) RC_ASSERT(snapshot.record(*question) == found);
    }
}

}  // namespace KestrelCore
