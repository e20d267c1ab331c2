#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "support/Records.hpp"
#include "support/ScanEvents.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <map>
#include <set>

// A scan against a reading of its rules that keeps maps of whole paths and sorts them.

namespace KestrelCore {

namespace {

using Kind = TraversalEntry::Kind;

struct NaiveScan {
    std::map<Text, FileRecord> records;
    std::map<Text, std::int64_t> collapsed;
    std::set<std::pair<std::uint64_t, std::uint64_t>> links;
    std::int64_t filesSeen = 0;
    std::int64_t allocatedBytesSeen = 0;

    void add(const Text& rootPath, const Text& path, const FileStatus& status, const SafetyRules& rules) {
        const bool isRoot = path == rootPath;
        const Text name = Path::lastComponent(path);
        const Text extension = Path::extension(name).lowercased();
        static const std::set<Text> packages{"app",    "appex",    "bundle",     "framework",
                                             "plugin", "prefpane", "qlgenerator"};
        FileKind kind = FileKind::other;
        if (status.type == FileType::symbolicLink) kind = FileKind::symbolicLink;
        if (status.type == FileType::directory)
            kind = packages.contains(extension) ? FileKind::package : FileKind::directory;
        if (status.type == FileType::regular) kind = FileKind::file;
        const bool isDuplicate =
            kind == FileKind::file && status.links >= 2 && !links.emplace(status.device, status.inode).second;
        const std::optional<Text> parent = isRoot ? std::nullopt : std::optional{Path::deletingLastComponent(path)};
        const FileRecord record{UUID{},
                                FileIdentity{status.device, status.inode},
                                parent,
                                path,
                                name,
                                kind,
                                status.size,
                                status.allocatedBytes,
                                isDuplicate ? 0 : status.allocatedBytes,
                                Date::fromFileTime(status.modifiedSeconds, status.modifiedNanoseconds),
                                extension,
                                name.hasPrefix(".") || status.isUserHidden,
                                status.isDataless,
                                isDuplicate,
                                rules.risk(path, name, extension)};
        const bool isFolded = rootPath == Text{"/"} && !isRoot && kind == FileKind::file &&
                              status.allocatedBytes < 1'048'576 && !MediaLibraryIndexer::kind(extension) &&
                              !DocumentLibraryIndexer::kind(extension);
        if (isFolded) {
            if (!isDuplicate) collapsed[*parent] += status.allocatedBytes;
        } else {
            records.insert_or_assign(path, record);
        }
        if (isRoot) return;
        ++filesSeen;
        if (!isDuplicate) allocatedBytesSeen += status.allocatedBytes;
    }

    std::vector<FileRecord> finish() {
        for (const auto& [parent, bytes] : collapsed) addTo(parent, bytes);
        std::vector<Text> paths;
        for (const auto& [path, record] : records) paths.push_back(path);
        const auto depth = [](const Text& path) {
            return std::count(path.view().begin(), path.view().end(), '/') - (path == Text{"/"} ? 1 : 0);
        };
        std::stable_sort(paths.begin(), paths.end(), [&](const Text& a, const Text& b) { return depth(a) > depth(b); });
        for (const Text& path : paths) {
            const FileRecord record = records.at(path);
            if (!record.parentPath()) continue;
            std::int64_t bytes = record.aggregateAllocatedBytes();
            if (!record.isContainer()) bytes = record.isHardLinkDuplicate() ? 0 : record.allocatedBytes();
            addTo(*record.parentPath(), bytes);
        }
        std::vector<FileRecord> sorted;
        for (const auto& [path, record] : records) sorted.push_back(record);
        return sorted;
    }

    void addTo(const Text& path, std::int64_t bytes) {
        const auto found = records.find(path);
        if (found == records.end()) return;
        found->second.setAggregateAllocatedBytes(found->second.aggregateAllocatedBytes() + bytes);
    }
};

/// Fills a folder of the tree, and the naive reading beside it in the same order.
class RandomTree {
public:
    RandomTree(const Text& root, const SafetyRules& rules)
        : tree{root.string(), rootStatus()}, root_{root}, rules_{rules} {
        naive.add(root_, root_, rootStatus(), rules_);
        fill(root_ == Text{"/"} ? Text{} : root_, 0);
    }

    FakeTree tree;
    NaiveScan naive;

private:
    static FileStatus rootStatus() {
        return FileStatus{.device = 1, .inode = 1, .allocatedBytes = 3, .type = FileType::directory};
    }

    void fill(const Text& prefix, int depth) {
        const int count = *rc::gen::inRange(0, 7);
        for (int i = 0; i < count; ++i) {
            const auto name = *rc::gen::element<std::string>(
                "a", "b", "a-", "a.txt", "A.App", "e\u0301", "\u00E9", "x\xFF", "x\uFFFD", ".h", "usr", "n.dat",
                "Library", "longer name 1", "longer name 2", "\u0301", "home", "k\u212A.PNG");
            FileStatus status{.device = 1,
                              .inode = *rc::gen::inRange<std::uint64_t>(10, 14),
                              .links = *rc::gen::inRange<std::uint64_t>(1, 3),
                              .size = *rc::gen::inRange(0, 100),
                              .allocatedBytes = *rc::gen::element<std::int64_t>(0, 8, 4096, 2'000'000),
                              .modifiedSeconds = *rc::gen::inRange(0, 1'000'000'000),
                              .type = *rc::gen::element(FileType::regular, FileType::directory, FileType::symbolicLink,
                                                        FileType::fifo)};
            const Text path = Text::concatenating({prefix.view(), "/", Text{name}.view()});
            if (status.type != FileType::directory) {
                naive.add(root_, path, status, rules_);
                tree.item(name, status.type, status);
                continue;
            }
            tree.directory(name, status);
            if (depth == 0 && root_ == Text{"/"} && (name == "usr" || name == "Library")) {
                tree.file("left out").end();
                continue;
            }
            naive.add(root_, path, status, rules_);
            if (depth < 4) fill(path, depth + 1);
            tree.end();
        }
    }

    Text root_;
    const SafetyRules& rules_;
};

}  // namespace

RC_GTEST_PROP(DiskScanner, equalsTheNaiveReading, ()) {
    const Text root = *rc::gen::element<Text>("/", "/tmp");
    const Text home = *rc::gen::element<Text>("/home", "/tmp/home", "/tmp/a");
    const SafetyRules rules{home, "/opt/kestrel", SystemLocations{}};
    RandomTree random{root, rules};
    const testing::ScanEvents events = testing::scan(root, random.tree, home);
    const std::vector<FileRecord> expected = random.naive.finish();
    const RecordList& actual = events.result().records();
    RC_ASSERT(testing::pathsOf(actual) == testing::pathsOf(expected));
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const FileRecord& e = expected[i];
        const FileRecord comparable{actual[i].id(),
                                    e.identity(),
                                    e.parentPath(),
                                    e.path(),
                                    e.name(),
                                    e.kind(),
                                    e.logicalBytes(),
                                    e.allocatedBytes(),
                                    e.aggregateAllocatedBytes(),
                                    e.modifiedAt(),
                                    e.fileExtension(),
                                    e.isHidden(),
                                    e.isCloudPlaceholder(),
                                    e.isHardLinkDuplicate(),
                                    e.risk()};
        RC_ASSERT(actual[i] == comparable);
    }
    RC_ASSERT(events.progress.back().filesSeen == random.naive.filesSeen);
    RC_ASSERT(events.progress.back().allocatedBytesSeen == random.naive.allocatedBytesSeen);
}

}  // namespace KestrelCore
