#include "KestrelCore/Reclaim/DuplicateFinder.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "support/Duplicates.hpp"
#include "support/GitRepository.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UnprivilegedThread.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <variant>
#include <vector>

namespace KestrelCore {

namespace {

using testing::duplicatesIn;
using testing::pathsOf;
using testing::scanned;
using Groups = std::set<std::set<std::string>>;

/// A content of some length whose blocks are zeros, or not, by the seed; equal seeds and lengths give equal contents.
std::string content(std::size_t length, unsigned seed) {
    std::string bytes(length, '\0');
    for (std::size_t block = 0; block * 65536 < length; ++block) {
        if ((seed >> (block % 8) & 1U) != 0) bytes[block * 65536] = static_cast<char>('a' + seed % 5);
    }
    return bytes;
}

void setModified(const std::string& path, std::int64_t seconds) {
    const timespec times[2]{{.tv_sec = seconds, .tv_nsec = 0}, {.tv_sec = seconds, .tv_nsec = 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

const DuplicateFile& fileAt(const DuplicateGroup& group, const std::string& path) {
    for (const DuplicateFile& file : group.files) {
        if (file.path.view() == path) return file;
    }
    throw std::runtime_error{"The group has no " + path};
}

/// Several files with known dates and places, all with the same bytes.
struct EqualFiles {
    TemporaryFolder folder;
    std::string bytes = content(100'000, 3);

    std::string add(const std::string& name, std::int64_t modified) const {
        std::string path = folder.makeFile(name, bytes);
        setModified(path, modified);
        return path;
    }
    [[nodiscard]] DuplicateGroup group(const DuplicateOptions& options = {}) const {
        const DuplicateReport report = duplicatesIn(folder.path(), options);
        EXPECT_EQ(report.groups.size(), 1U);
        return report.groups.at(0);
    }
};

}  // namespace

RC_GTEST_PROP(DuplicateFinder, findsWhatComparingAllWithAllFinds, ()) {
    const TemporaryFolder folder;
    // Lengths around those at which the way of reading changes.
    const std::vector<std::size_t> lengths{1, 2, 4096, 32768, 32769, 65536, 65537, 300'000};
    std::map<std::string, std::set<std::string>> byContent;
    const auto count = *rc::gen::inRange(0, 24);
    for (int i = 0; i < count; ++i) {
        std::string bytes =
            content(lengths[*rc::gen::inRange<std::size_t>(0, lengths.size())], *rc::gen::inRange(0U, 4U));
        // Some differ at one place only.
        if (*rc::gen::inRange(0, 3) == 0) bytes[*rc::gen::inRange<std::size_t>(0, bytes.size())] = 'x';
        const std::string path = folder.makeFile("d" + std::to_string(i % 3) + "/f" + std::to_string(i), bytes);
        byContent[bytes].insert(path);
    }
    Groups expected;
    for (const auto& [bytes, paths] : byContent) {
        if (paths.size() > 1) expected.insert(paths);
    }
    RC_ASSERT(pathsOf(duplicatesIn(folder.path())) == expected);
    RC_ASSERT(pathsOf(duplicatesIn(folder.path(), {.threads = 3})) == expected);
}

TEST(DuplicateFinder, leavesOutWhatIsSmallerThanAsked) {
    const TemporaryFolder folder;
    for (const char* name : {"a", "b"}) folder.makeFile(name, content(1000, 1));
    EXPECT_EQ(duplicatesIn(folder.path(), {.smallestBytes = 1000}).groups.size(), 1U);
    EXPECT_TRUE(duplicatesIn(folder.path(), {.smallestBytes = 1001}).groups.empty());
}

TEST(DuplicateFinder, looksBelowTheFolderOnlyThatItWasAskedAbout) {
    const TemporaryFolder folder;
    const std::string a = folder.makeFile("in/a", "same");
    const std::string b = folder.makeFile("in/deep/b", "same");
    folder.makeFile("inside/c", "same");
    auto events = DuplicateFinder::find(scanned(folder.path()), Text{folder / "in"}, {.smallestBytes = 1});
    std::optional<DuplicateReport> report;
    while (auto event = events.next()) {
        EXPECT_FALSE(report) << "Nothing follows the report";
        if (auto* found = std::get_if<DuplicateReport>(&*event)) report = std::move(*found);
    }
    EXPECT_EQ(pathsOf(report.value()), (Groups{{a, b}}));
}

TEST(DuplicateFinder, aFileWithSeveralNamesIsNoDuplicateOfItself) {
    const TemporaryFolder folder;
    const std::string a = folder.makeFile("a", content(50'000, 1));
    std::filesystem::create_hard_link(a, folder / "b");
    const DuplicateReport report = duplicatesIn(folder.path());
    EXPECT_TRUE(report.groups.empty());
    EXPECT_EQ(report.linkNames, 1);
}

TEST(DuplicateFinder, claimsNoGainForNamesOfOneFile) {
    const EqualFiles files;
    const std::string kept = files.add("a", 1000);
    std::filesystem::create_hard_link(kept, files.folder / "a2");
    const std::string spare = files.add("b", 2000);
    std::filesystem::create_hard_link(spare, files.folder / "b2");
    const std::string elsewhere = files.add("c", 3000);
    const TemporaryFolder outside;
    std::filesystem::create_hard_link(elsewhere, outside / "c2");

    const DuplicateGroup group = files.group();
    EXPECT_EQ(group.kept().path.view(), kept);
    EXPECT_EQ(fileAt(group, files.folder / "a2").standing, DuplicateStanding::sameFile);
    // Both names of the second file must go before anything comes free, and then its blocks do once.
    EXPECT_EQ(fileAt(group, spare).standing, DuplicateStanding::spare);
    EXPECT_EQ(fileAt(group, files.folder / "b2").standing, DuplicateStanding::spare);
    EXPECT_EQ(fileAt(group, elsewhere).standing, DuplicateStanding::namedElsewhere);
    EXPECT_EQ(group.reclaimableBytes, fileAt(group, spare).allocatedBytes);
}

TEST(DuplicateFinder, countsAFileWithHolesByItsBlocks) {
    const TemporaryFolder folder;
    const std::string full = folder.makeFile("full", std::string(4'000'000, '\0'));
    setModified(full, 1000);
    const std::string hole = folder.makeFile("hole");
    std::filesystem::resize_file(hole, 4'000'000);
    const DuplicateReport report = duplicatesIn(folder.path());
    EXPECT_EQ(pathsOf(report), (Groups{{full, hole}})) << "A hole reads as zeros";
    EXPECT_EQ(fileAt(report.groups.at(0), hole).standing, DuplicateStanding::takesNoRoom);
    EXPECT_EQ(report.reclaimableBytes, 0);
}

TEST(DuplicateFinder, readsAHugeHoleAtOnce) {
    // Reading the zeros of both would take days.
    const TemporaryFolder folder;
    for (const char* name : {"a", "b"}) {
        std::ofstream file{folder.makeFile(name), std::ios::binary};
        file << "begin";
        file.seekp((std::int64_t{1} << 43) - 1);
        file << "e";
        if (!file.flush()) GTEST_SKIP() << "The file system has no files of 8 TiB";
    }
    const DuplicateReport report = duplicatesIn(folder.path());
    ASSERT_EQ(report.groups.size(), 1U);
    EXPECT_LT(report.reclaimableBytes, 1'000'000);
}

TEST(DuplicateFinder, dropsWhatChangedSinceTheScan) {
    const TemporaryFolder folder;
    const std::string longer = folder.makeFile("longer", "same");
    const std::string touched = folder.makeFile("touched", "same");
    const std::string gone = folder.makeFile("gone", "same");
    const std::string fifo = folder.makeFile("fifo", "same");
    const std::string link = folder.makeFile("link", "same");
    const std::string left = folder.makeFile("left", "same");
    const std::string right = folder.makeFile("right", "same");
    const ScanSnapshot snapshot = scanned(folder.path());
    std::ofstream{longer, std::ios::app} << "!";
    setModified(touched, 1000);
    for (const std::string& path : {gone, fifo, link}) std::filesystem::remove(path);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::filesystem::create_symlink(right, link);
    const DuplicateReport report = duplicatesIn(snapshot);
    EXPECT_EQ(pathsOf(report), (Groups{{left, right}}));
    EXPECT_EQ(report.changed, 5);
    EXPECT_EQ(report.unreadable, 0);
}

TEST(DuplicateFinder, tellsWhatItCouldNotRead) {
    const TemporaryFolder folder;
    for (const char* name : {"a", "b", "c"}) {
        std::filesystem::permissions(folder.makeFile(name, "same"), std::filesystem::perms{0644});
    }
    std::filesystem::permissions(folder.path(), std::filesystem::perms{0755});
    const ScanSnapshot snapshot = scanned(folder.path());
    std::filesystem::permissions(folder / "c", std::filesystem::perms::none);
    const UnprivilegedThread unprivileged;
    const DuplicateReport report = duplicatesIn(snapshot);
    EXPECT_EQ(pathsOf(report), (Groups{{folder / "a", folder / "b"}}));
    EXPECT_EQ(report.unreadable, 1);
    ASSERT_EQ(report.issues.size(), 1U);
    EXPECT_EQ(report.issues.at(0).path.view(), folder / "c");
}

TEST(DuplicateFinder, keepsTheOldestThenTheShortestPath) {
    const EqualFiles files;
    const std::string copy = files.add("a copy", 2000);
    const std::string longName = files.add("original with a long name", 1000);
    const std::string original = files.add("original", 1000);
    const DuplicateGroup group = files.group();
    EXPECT_EQ(group.kept().path.view(), original);
    EXPECT_EQ(group.reclaimableBytes, fileAt(group, copy).allocatedBytes + fileAt(group, longName).allocatedBytes);
}

TEST(DuplicateFinder, keepsTheNewestWhenAsked) {
    const EqualFiles files;
    files.add("old", 1000);
    const std::string last = files.add("new", 2000);
    EXPECT_EQ(files.group({.keeping = DuplicateKeeping::newest}).kept().path.view(), last);
}

TEST(DuplicateFinder, letsNothingGoOfAFolderThatIsKept) {
    const EqualFiles files;
    const std::string old = files.add("downloads/a", 1000);
    const std::string first = files.add("photos/a", 2000);
    const std::string second = files.add("photos/b", 3000);
    const DuplicateGroup group = files.group({.keptFolder = Text{files.folder / "photos"}});
    EXPECT_EQ(group.kept().path.view(), first);
    EXPECT_EQ(fileAt(group, second).standing, DuplicateStanding::inKeptFolder);
    EXPECT_EQ(fileAt(group, old).standing, DuplicateStanding::spare);
}

TEST(DuplicateFinder, offersNoPartOfWhatNeedsAllItsFiles) {
    const EqualFiles files;
    files.add("original", 1000);
    const std::string object = files.add("clone/.git/objects/pack/p.pack", 2000);
    const std::string inside = files.add("Tool.app/Contents/data", 2000);
    const std::string bare = files.add("sync/project.git/config", 2000);
    const std::string loose = files.add("odd/objects/3b/" + std::string(38, 'f'), 2000);
    const std::string plain = files.add("clone.git.txt", 2000);
    const DuplicateGroup group = files.group();
    EXPECT_EQ(fileAt(group, bare).standing, DuplicateStanding::isProtected);
    EXPECT_EQ(fileAt(group, loose).reason.value().view(),
              "It is part of a Git repository, which needs all of its files.");
    EXPECT_EQ(fileAt(group, object).standing, DuplicateStanding::isProtected);
    EXPECT_EQ(fileAt(group, object).reason.value().view(), "It is part of “.git”, which needs all of its files.");
    EXPECT_EQ(fileAt(group, inside).standing, DuplicateStanding::isProtected);
    EXPECT_EQ(group.reclaimableBytes, fileAt(group, plain).allocatedBytes);
}

TEST(DuplicateFinder, offersNothingThatVersionControlKeeps) {
    const EqualFiles files;
    files.add("original", 1000);
    const std::string tracked = files.add("clone/data/table.bin", 2000);
    testing::git(files.folder.path() + "/clone", "init -q && git add data");
    const std::string untracked = files.add("clone/data/copy.bin", 3000);
    const DuplicateGroup group = files.group();
    EXPECT_EQ(fileAt(group, tracked).standing, DuplicateStanding::isProtected);
    EXPECT_THAT(fileAt(group, tracked).reason.value().string(), ::testing::HasSubstr(" is tracked by the repository "));
    EXPECT_EQ(fileAt(group, untracked).standing, DuplicateStanding::spare);
    EXPECT_EQ(group.reclaimableBytes, fileAt(group, untracked).allocatedBytes);
}

TEST(DuplicateFinder, keepsNothingInTheTrashForWhatIsNot) {
    const EqualFiles files;
    const std::string thrown = files.add("Trash/files/film", 1000);
    const std::string ofVolume = files.add(".Trash-1000/files/film", 2000);
    const std::string first = files.add("first", 3000);
    const std::string second = files.add("second", 4000);
    const DuplicateGroup group = files.group();
    EXPECT_EQ(group.kept().path.view(), first);
    EXPECT_EQ(fileAt(group, thrown).standing, DuplicateStanding::isProtected);
    EXPECT_EQ(fileAt(group, ofVolume).standing, DuplicateStanding::isProtected);
    EXPECT_EQ(group.reclaimableBytes, fileAt(group, second).allocatedBytes);
}

TEST(DuplicateFinder, putsTheGroupThatFreesMostFirst) {
    const TemporaryFolder folder;
    for (const char* name : {"s1", "s2", "s3"}) folder.makeFile(name, content(200'000, 1));
    for (const char* name : {"l1", "l2"}) folder.makeFile(name, content(300'000, 255));
    const DuplicateReport report = duplicatesIn(folder.path());
    ASSERT_EQ(report.groups.size(), 2U);
    EXPECT_EQ(report.groups[0].bytes, 200'000);
    EXPECT_EQ(report.reclaimableBytes, report.groups[0].reclaimableBytes + report.groups[1].reclaimableBytes);
}

TEST(DuplicateFinder, endsWithoutAReportWhenCancelled) {
    const TemporaryFolder folder;
    for (const char* name : {"a", "b"}) folder.makeFile(name, "same");
    const ScanSnapshot snapshot = scanned(folder.path());
    const CancellationToken cancellation;
    const DuplicateOptions options{.smallestBytes = 1};
    // Cancelled by its own first report, which comes while files are read.
    DuplicateSearch search{SnapshotAccess::storage(snapshot), options, cancellation,
                           [&](const auto&) { cancellation.cancel(); }};
    EXPECT_FALSE(search.run(Text{folder.path()}));
}

}  // namespace KestrelCore
