#include "KestrelCore/Scanning/DiskScanner.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "support/FakeFileManager.hpp"
#include "support/Records.hpp"
#include "support/ScanEvents.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UnprivilegedThread.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <latch>

namespace KestrelCore {

using testing::collect;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::Not;
using testing::pathsOf;
using testing::scan;
using testing::ScanEvents;

namespace {

template <typename Error>
std::optional<Error> errorOf(const ScanEvents& events) {
    if (events.error == nullptr) return std::nullopt;
    try {
        std::rethrow_exception(events.error);
    } catch (const Error& error) {
        return error;
    }
}

ScanEvents scanFolder(const std::string& path) {
    return collect(DiskScanner{}.scan(ScanScope{URL::fromPath(Text{path})}));
}

}  // namespace

TEST(DiskScanner, emitsItsEventsInOrder) {
    const ScanEvents events = scan("/tmp", FakeTree{"/tmp"}.file("a").noStatus("b", EACCES).directory("c").end());
    EXPECT_THAT(events.order, ElementsAre(0, 1, 1, 2, 3));
    EXPECT_EQ(events.progress.front().filesSeen, 1);
    EXPECT_EQ(events.progress.back(), (ScanProgress{2, 0, "/tmp"}));
    EXPECT_EQ(events.issues.front(), (ScanIssue{"/tmp/b", "Permission denied"}));
    EXPECT_EQ(events.result().issues().size(), 1U);
    EXPECT_LE(events.result().startedAt(), events.result().completedAt());
}

TEST(DiskScanner, givesEveryRecordWhatTheWalkSaw) {
    const FileStatus status{.device = 5,
                            .inode = 77,
                            .size = 1234,
                            .allocatedBytes = 4096,
                            .modifiedSeconds = 978307200,
                            .modifiedNanoseconds = 500'000'000};
    FileStatus hidden = status;
    hidden.inode = 78;
    hidden.isUserHidden = true;
    hidden.isDataless = true;
    FakeTree tree{"/tmp"};
    tree.file("Photo.JPG", status)
        .file("plain", hidden)
        .file(".dot")
        .link("to")
        .item("pipe", FileType::fifo)
        .directory("Tool.App")
        .end();
    tree.file("Tool2.app");
    const ScanEvents events = scan("/tmp", tree);
    const FileRecord photo = events.record("/tmp/Photo.JPG");
    EXPECT_EQ(photo.identity(), (FileIdentity{5, 77}));
    EXPECT_EQ(photo.parentPath(), Text{"/tmp"});
    EXPECT_EQ(photo.name(), Text{"Photo.JPG"});
    EXPECT_EQ(photo.kind(), FileKind::file);
    EXPECT_EQ(photo.logicalBytes(), 1234);
    EXPECT_EQ(photo.allocatedBytes(), 4096);
    EXPECT_EQ(photo.aggregateAllocatedBytes(), 4096);
    EXPECT_EQ(photo.modifiedAt(), Date{0.5});
    EXPECT_EQ(photo.fileExtension(), Text{"jpg"});
    EXPECT_FALSE(photo.isHidden());
    EXPECT_EQ(photo.risk(), RiskLevel::normal);
    EXPECT_TRUE(events.record("/tmp/plain").isHidden());
    EXPECT_TRUE(events.record("/tmp/plain").isCloudPlaceholder());
    EXPECT_TRUE(events.record("/tmp/.dot").isHidden());
    EXPECT_EQ(events.record("/tmp/.dot").risk(), RiskLevel::high);
    EXPECT_EQ(events.record("/tmp/to").kind(), FileKind::symbolicLink);
    EXPECT_EQ(events.record("/tmp/pipe").kind(), FileKind::other);
    EXPECT_EQ(events.record("/tmp/Tool.App").kind(), FileKind::package);
    EXPECT_EQ(events.record("/tmp/Tool2.app").kind(), FileKind::file);
    EXPECT_EQ(events.record("/tmp/Tool2.app").risk(), RiskLevel::high);
}

TEST(DiskScanner, takesFoldersForPackagesByTheirExtension) {
    const std::vector<std::string> packages{"a.app",    "a.appex",    "a.bundle",      "a.framework",
                                            "a.plugin", "a.prefpane", "a.qlgenerator", "a.BUNDLE"};
    const std::vector<std::string> folders{"a.apps", "a.kext", "a.pkg", "app", "a.app.d", "a"};
    FakeTree tree{"/tmp"};
    for (const auto* names : {&packages, &folders})
        for (const std::string& name : *names) tree.directory(name).end();
    const ScanEvents events = scan("/tmp", tree);
    for (const std::string& name : packages) EXPECT_EQ(events.record("/tmp/" + name).kind(), FileKind::package) << name;
    for (const std::string& name : folders)
        EXPECT_EQ(events.record("/tmp/" + name).kind(), FileKind::directory) << name;
}

TEST(DiskScanner, rootHasNoParentIsNotCountedAndCarriesTheTotal) {
    FakeTree tree{"/tmp", {.allocatedBytes = 100}};
    tree.directory("d", {.allocatedBytes = 10})
        .file("x", {.allocatedBytes = 3})
        .directory("e", {.allocatedBytes = 20})
        .file("y", {.allocatedBytes = 4})
        .end()
        .end();
    tree.file("z", {.allocatedBytes = 5});
    const ScanEvents events = scan("/tmp", tree);
    const FileRecord root = events.record("/tmp");
    EXPECT_FALSE(root.parentPath().has_value());
    EXPECT_EQ(root.name(), Text{"tmp"});
    EXPECT_EQ(root.aggregateAllocatedBytes(), 142);
    EXPECT_EQ(events.result().totalAllocatedBytes(), 142);
    EXPECT_EQ(events.record("/tmp/d").aggregateAllocatedBytes(), 37);
    EXPECT_EQ(events.record("/tmp/d/e").aggregateAllocatedBytes(), 24);
    EXPECT_EQ(events.progress.back().filesSeen, 5);
    EXPECT_EQ(events.progress.back().allocatedBytesSeen, 42);
}

TEST(DiskScanner, sortsRecordsByTheirWholePaths) {
    FakeTree tree{"/tmp"};
    tree.directory("a")
        .file("z")
        .directory("b")
        .file("c")
        .end()
        .end()
        .file("a.txt")
        .directory("a-")
        .file("q")
        .end()
        .file("a0")
        .file("B");
    EXPECT_THAT(pathsOf(scan("/tmp", tree).result().records()),
                ElementsAre("/tmp", "/tmp/B", "/tmp/a", "/tmp/a-", "/tmp/a-/q", "/tmp/a.txt", "/tmp/a/b", "/tmp/a/b/c",
                            "/tmp/a/z", "/tmp/a0"));
}

TEST(DiskScanner, countsTheFirstOfSeveralHardLinksOnly) {
    const FileStatus linked{.device = 1, .inode = 9, .links = 3, .allocatedBytes = 800};
    FakeTree tree{"/tmp"};
    tree.directory("d").file("second-by-name", linked).end().file("a", linked).file("b", linked);
    tree.directory("e", {.device = 1, .inode = 50, .links = 7, .allocatedBytes = 1})
        .end()
        .directory("f", {.device = 1, .inode = 50, .links = 7, .allocatedBytes = 1})
        .end();
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_FALSE(events.record("/tmp/d/second-by-name").isHardLinkDuplicate());
    EXPECT_TRUE(events.record("/tmp/a").isHardLinkDuplicate());
    EXPECT_EQ(events.record("/tmp/a").aggregateAllocatedBytes(), 0);
    EXPECT_EQ(events.record("/tmp/a").allocatedBytes(), 800);
    EXPECT_TRUE(events.record("/tmp/b").isHardLinkDuplicate());
    EXPECT_EQ(events.record("/tmp/d").aggregateAllocatedBytes(), 800);
    EXPECT_FALSE(events.record("/tmp/f").isHardLinkDuplicate());
    EXPECT_EQ(events.result().totalAllocatedBytes(), 802);
    EXPECT_EQ(events.progress.back().allocatedBytesSeen, 802);
    EXPECT_EQ(events.progress.back().filesSeen, 6);
}

TEST(DiskScanner, reportsTheFirstEntryAndEveryTwoThousandFortyEighth) {
    FakeTree tree{"/tmp"};
    for (int i = 0; i < 3000; ++i) tree.file("f" + std::to_string(i));
    const ScanEvents events = scan("/tmp", tree);
    ASSERT_EQ(events.progress.size(), 3U);
    EXPECT_EQ(events.progress[0].filesSeen, 1);
    EXPECT_EQ(events.progress[0].currentPath, Text{"/tmp/f0"});
    EXPECT_EQ(events.progress[1].filesSeen, 2048);
    EXPECT_EQ(events.progress[1].currentPath, Text{"/tmp/f2047"});
    EXPECT_EQ(events.progress[2].filesSeen, 3000);
    EXPECT_EQ(events.progress[2].currentPath, Text{"/tmp"});
}

TEST(DiskScanner, keepsAThousandIssuesAndEmitsAHundred) {
    FakeTree tree{"/tmp"};
    for (int i = 0; i < 1500; ++i) tree.noStatus("f" + std::to_string(i), i == 0 ? 0 : EIO);
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_EQ(events.result().issues().size(), 1000U);
    EXPECT_EQ(events.issues.size(), 100U);
    EXPECT_EQ(events.issues[0].message, Text{"The item could not be inspected."});
    EXPECT_EQ(events.issues[1].message, Text{"Input/output error"});
    EXPECT_EQ(events.result().issues()[999].path, Text{"/tmp/f999"});
}

TEST(DiskScanner, keepsAFolderThatItCannotRead) {
    FakeTree tree{"/tmp"};
    tree.directory("locked", {.allocatedBytes = 8})
        .unreadable(EACCES)
        .file("next", {.allocatedBytes = 4})
        .error("odd", ELOOP);
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_EQ(events.record("/tmp/locked").aggregateAllocatedBytes(), 8);
    EXPECT_EQ(events.record("/tmp/next").parentPath(), Text{"/tmp"});
    EXPECT_EQ(events.result().issues()[0], (ScanIssue{"/tmp/locked", "Permission denied"}));
    EXPECT_EQ(events.result().issues()[1].path, Text{"/tmp/odd"});
    EXPECT_EQ(events.result().totalAllocatedBytes(), 12);
}

TEST(DiskScanner, leavesTheSystemFoldersOutOfAScanOfTheDisk) {
    const std::vector<std::string> excluded{"System",
                                            "Library",
                                            "private",
                                            "usr",
                                            "bin",
                                            "sbin",
                                            "Volumes",
                                            "dev",
                                            "Network",
                                            ".vol",
                                            ".Spotlight-V100",
                                            ".fseventsd",
                                            ".DocumentRevisions-V100"};
    FakeTree disk{"/"};
    FakeTree folder{"/tmp"};
    for (const std::string& name : excluded) {
        disk.directory(name, {.allocatedBytes = 7}).file("in.pdf", {.allocatedBytes = 1}).end();
        folder.directory(name, {.allocatedBytes = 7}).file("in.pdf", {.allocatedBytes = 1}).end();
    }
    disk.directory("home").directory("Library").file("in.pdf").end().end().file("dev2.pdf");
    EXPECT_THAT(pathsOf(scan("/", disk).result().records()),
                ElementsAre("/", "/dev2.pdf", "/home", "/home/Library", "/home/Library/in.pdf"));
    EXPECT_EQ(scan("/", disk).result().totalAllocatedBytes(), 0);
    EXPECT_EQ(scan("/tmp", folder).result().records().size(), 1 + 2 * excluded.size());
}

TEST(DiskScanner, tellsTheWalkWhatItWillNotEnter) {
    TraversalOptions seen;
    ScanEnvironment environment = testing::environmentOf(FakeTree{"/"});
    environment.openTraversal = [&](const TraversalOptions& options) {
        seen = options;
        return FakeTree{"/"}.open(options);
    };
    (void)collect(testing::startScan(ScanScope{URL::fromPath("/")}, environment));
    EXPECT_EQ(seen.root, "/");
    EXPECT_EQ(seen.notEntered.size(), 13U);
    (void)collect(testing::startScan(ScanScope{URL::fromPath("/tmp/../tmp")}, environment));
    EXPECT_EQ(seen.root, "/tmp");
    EXPECT_TRUE(seen.notEntered.empty());
}

TEST(DiskScanner, foldsSmallOrdinaryFilesOfADiskIntoTheirFolder) {
    constexpr std::int64_t mebibyte = 1'048'576;
    const FileStatus linked{.device = 1, .inode = 9, .links = 2, .allocatedBytes = 50};
    FakeTree tree{"/"};
    tree.directory("d", {.allocatedBytes = 1})
        .file("small.dat", {.allocatedBytes = 4096})
        .file("bare", {.allocatedBytes = 100})
        .file("edge.dat", {.allocatedBytes = mebibyte})
        .file("below.dat", {.allocatedBytes = mebibyte - 1})
        .file("notes.TXT", {.allocatedBytes = 4096})
        .file("a.PNG", {.allocatedBytes = 1})
        .file("a.mov", {.allocatedBytes = 1})
        .link("l.dat", {.allocatedBytes = 1})
        .item("p.dat", FileType::fifo)
        .file("h1.dat", linked)
        .file("h2.dat", linked)
        .end();
    tree.file("top.dat", {.allocatedBytes = 9});
    const ScanEvents events = scan("/", tree);
    EXPECT_THAT(pathsOf(events.result().records()),
                ElementsAre("/", "/d", "/d/a.PNG", "/d/a.mov", "/d/edge.dat", "/d/l.dat", "/d/notes.TXT", "/d/p.dat"));
    const std::int64_t inD = 1 + 4096 + 100 + mebibyte + (mebibyte - 1) + 4096 + 1 + 1 + 1 + 50;
    EXPECT_EQ(events.record("/d").aggregateAllocatedBytes(), inD);
    EXPECT_EQ(events.result().totalAllocatedBytes(), inD + 9);
    EXPECT_EQ(events.progress.back().filesSeen, 13);
    EXPECT_EQ(events.progress.back().allocatedBytesSeen, inD + 9);
}

TEST(DiskScanner, keepsASmallFileOutsideAScanOfTheDisk) {
    EXPECT_EQ(scan("/tmp", FakeTree{"/tmp"}.file("small.dat", {.allocatedBytes = 4096})).result().records().size(), 2U);
}

// Files that share their blocks claim more than any disk has, and every folder above counts them again.
TEST(DiskScanner, makesSnapshotsThatAreConsistentAtAnyDepth) {
    constexpr std::int64_t claimed = 900LL << 30;
    FakeTree tree{"/tmp"};
    for (int level = 0; level < 1000; ++level) tree.directory("d", {.allocatedBytes = 0});
    for (int file = 0; file < 5000; ++file) tree.file(std::to_string(file), {.allocatedBytes = claimed});
    tree.directory("huge", {.allocatedBytes = claimed}).file("inside", {.allocatedBytes = 1}).end();
    tree.file("small", {.allocatedBytes = 4096});
    for (int level = 0; level < 1000; ++level) tree.end();
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_TRUE(events.result().isConsistent());
    // Each file counts once itself, and once for each of the 1,001 folders above it.
    constexpr std::int64_t fit = (std::int64_t{1} << 62) / 1002 / claimed;
    EXPECT_EQ(events.result().totalAllocatedBytes(), fit * claimed + 4096);
    EXPECT_EQ(events.result().issues().size(), 5000 - fit + 1);  // one for the folder, which is not entered
    EXPECT_EQ(events.result().issues().front().message, systemErrorText(EOVERFLOW));
    EXPECT_EQ(events.result().records().size(), 1001 + fit + 1);
}

TEST(DiskScanner, keepsTheLaterOfTwoNamesThatAreOnePath) {
    FakeTree tree{"/tmp"};
    tree.directory("caf\u00E9", {.allocatedBytes = 1})
        .file("menu", {.allocatedBytes = 10})
        .file("bill", {.allocatedBytes = 20})
        .end();
    tree.directory("cafe\u0301", {.allocatedBytes = 2}).file("menu", {.allocatedBytes = 40}).end();
    tree.file("\xFF", {.allocatedBytes = 100})
        .file("\xFE", {.allocatedBytes = 200})
        .file("\uFFFD", {.allocatedBytes = 400});
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_TRUE(events.result().isConsistent());
    EXPECT_THAT(pathsOf(events.result().records()),
                ElementsAre("/tmp", "/tmp/cafe\u0301", "/tmp/caf\u00E9/bill", "/tmp/cafe\u0301/menu", "/tmp/\uFFFD"));
    EXPECT_EQ(events.record("/tmp/caf\u00E9").aggregateAllocatedBytes(), 62);
    EXPECT_EQ(events.result().totalAllocatedBytes(), 462);
    EXPECT_EQ(events.progress.back().filesSeen, 8);
    EXPECT_EQ(events.progress.back().allocatedBytesSeen, 773);
}

TEST(DiskScanner, addsTheContentOfAReplacedFolderToWhatStandsInItsPlace) {
    FakeTree tree{"/tmp"};
    tree.directory("caf\u00E9", {.allocatedBytes = 1})
        .file("menu", {.allocatedBytes = 10})
        .end()
        .file("cafe\u0301", {.allocatedBytes = 5});
    const ScanEvents events = scan("/tmp", tree);
    EXPECT_EQ(events.record("/tmp/caf\u00E9").kind(), FileKind::file);
    EXPECT_EQ(events.record("/tmp/caf\u00E9").aggregateAllocatedBytes(), 15);
    EXPECT_EQ(events.result().totalAllocatedBytes(), 5);
}

TEST(DiskScanner, repairsNamesThatAreNotUTF8) {
    const ScanEvents events = scan("/tmp", FakeTree{"/tmp"}
                                               .directory("a\xFF"
                                                          "b")
                                               .file("c\xC3.TxT")
                                               .end());
    EXPECT_THAT(pathsOf(events.result().records()), ElementsAre("/tmp", "/tmp/a\uFFFDb", "/tmp/a\uFFFDb/c\uFFFD.TxT"));
    EXPECT_EQ(events.result().records()[2].fileExtension(), Text{"txt"});
}

TEST(DiskScanner, failsWhenTheRootCannotBeRead) {
    const ScanEvents events = collect(DiskScanner{}.scan(ScanScope{URL::fromPath("/nowhere/at/all")}));
    EXPECT_THAT(events.order, ElementsAre(0));
    EXPECT_EQ(errorOf<KestrelError>(events),
              KestrelError::accessDenied("Kestrel cannot read /nowhere/at/all. There is nothing of that name."));
}

TEST(DiskScanner, saysWhatHelpsWhereTheRootIsThereButMayNotBeRead) {
    const TemporaryFolder folder;
    const auto closed = std::make_shared<FakeFileManager>();
    closed->addFolder(folder.path());
    closed->denyReading(folder.path());
    ScanEnvironment environment = testing::environmentOf(FakeTree{folder.path()});
    environment.fileManager = closed;
    const ScanScope scope{URL::fromPath(folder.path())};
    EXPECT_EQ(errorOf<KestrelError>(collect(testing::startScan(scope, environment))),
              KestrelError::accessDenied(
                  Text::concatenating({"Kestrel cannot read ", folder.path(),
                                       ". You have no permission for this folder; its owner or root has."})));
}

TEST(DiskScanner, namesTheRootAsItWasStoredWhenItCannotBeRead) {
    const ScanScope scope = ScanScope::stored(*URL::parse("file:///nowhere/x/.."), "x", "x");
    EXPECT_EQ(errorOf<KestrelError>(collect(DiskScanner{}.scan(scope))),
              KestrelError::accessDenied("Kestrel cannot read /nowhere/x/... There is nothing of that name."));
}

TEST(DiskScanner, failsWhenTheWalkCannotBeOpened) {
    ScanEnvironment environment = testing::environmentOf(FakeTree{"/tmp"});
    environment.openTraversal = [](const TraversalOptions&) { return std::unique_ptr<Traversal>{}; };
    EXPECT_EQ(errorOf<KestrelError>(collect(testing::startScan(ScanScope{URL::fromPath("/tmp")}, environment))),
              KestrelError::unavailable("The selected location could not be scanned."));
}

TEST(DiskScanner, failsWithTheSystemsTextWhenTheWalkStops) {
    const ScanEvents events = scan("/tmp", FakeTree{"/tmp"}.file("a").stop(ENOMEM));
    EXPECT_THAT(events.order, ElementsAre(0, 1));
    EXPECT_EQ(errorOf<KestrelError>(events), KestrelError::unavailable("Cannot allocate memory"));
}

TEST(DiskScanner, endsWithoutAnErrorAtTheNextEntryOnceCancelled) {
    std::latch isAtSecond{1};
    std::latch isCancelled{1};
    std::latch isTold{1};
    bool wentOn = false;
    FakeTree tree{"/tmp"};
    tree.file("first").then([&] {
        isAtSecond.count_down();
        isCancelled.wait();
    });
    tree.file("second").then([&] { wentOn = true; });
    ScanEnvironment environment = testing::environmentOf(tree);
    environment.openTraversal = [&, open = environment.openTraversal](const TraversalOptions& options) {
        struct Told final : Traversal {
            Told(std::unique_ptr<Traversal> walk, std::latch& told) : walk{std::move(walk)}, told{told} {}
            ~Told() override { told.count_down(); }
            const TraversalEntry* next() override { return walk->next(); }
            void skipDescendants() override { walk->skipDescendants(); }
            int errorNumber() const override { return walk->errorNumber(); }
            std::unique_ptr<Traversal> walk;
            std::latch& told;
        };
        return std::make_unique<Told>(open(options), isTold);
    };
    EventStream<ScanEvent> stream = testing::startScan(ScanScope{URL::fromPath("/tmp")}, environment);
    isAtSecond.wait();
    stream.cancel();
    isCancelled.count_down();
    isTold.wait();
    EXPECT_FALSE(wentOn);
    std::size_t completed = 0;
    while (const auto event = stream.next()) completed += std::holds_alternative<ScanCompleted>(*event) ? 1 : 0;
    EXPECT_EQ(completed, 0U);
}

TEST(DiskScanner, takesInWhatItsOptionsSayOfTheDisk) {
    FakeTree disk{"/"};
    disk.directory("usr").file("small.dat", {.allocatedBytes = 4096}).end().file("top.dat", {.allocatedBytes = 9});
    ScanOptions options{.systemFolders = ScanOptions::SystemFolders::takenIn,
                        .smallFiles = ScanOptions::SmallFiles::folded,
                        .keepingFound = std::nullopt,
                        .growing = std::nullopt};
    EXPECT_THAT(pathsOf(scan("/", disk, options).result().records()), ElementsAre("/", "/usr"));
    EXPECT_EQ(scan("/", disk, options).result().totalAllocatedBytes(), 4105);
    options.smallFiles = ScanOptions::SmallFiles::listed;
    EXPECT_THAT(pathsOf(scan("/", disk, options).result().records()),
                ElementsAre("/", "/top.dat", "/usr", "/usr/small.dat"));
    EXPECT_EQ(scan("/", disk, options).result().totalAllocatedBytes(), 4105);
    options.systemFolders = ScanOptions::SystemFolders::leftOut;
    EXPECT_THAT(pathsOf(scan("/", disk, options).result().records()), ElementsAre("/", "/top.dat"));
}

TEST(ScanOptions, nameTheFoldersThatAScanOfTheDiskLeavesOut) {
    EXPECT_THAT(ScanOptions{}.leftOut(ScanScope{URL::fromPath("/")}), Contains(Text{"/usr"}));
    EXPECT_THAT(ScanOptions{}.leftOut(ScanScope{URL::fromPath("/usr")}), ElementsAre());
    EXPECT_EQ(ScanOptions::everything().smallFiles, ScanOptions::SmallFiles::listed);
}

TEST(DiskScanner, givesWhatItFoundWhenItIsEndedEarlyAndThatIsWanted) {
    ScanOptions options;
    options.keepingFound.emplace();
    FakeTree tree{"/tmp"};
    tree.directory("d").file("first", {.allocatedBytes = 5}).then([&] { options.keepingFound->cancel(); });
    tree.file("second", {.allocatedBytes = 7}).end();
    const ScanEvents events = scan("/tmp", tree, options);
    EXPECT_EQ(events.error, nullptr);
    EXPECT_FALSE(events.isComplete);
    EXPECT_THAT(pathsOf(events.result().records()), ElementsAre("/tmp", "/tmp/d", "/tmp/d/first"));
    EXPECT_EQ(events.result().totalAllocatedBytes(), 5);
}

TEST(DiskScanner, isCompleteWhenNobodyEndsIt) {
    ScanOptions options;
    options.keepingFound.emplace();
    EXPECT_TRUE(scan("/tmp", FakeTree{"/tmp"}.file("a"), options).isComplete);
}

TEST(DiskScanner, givesNothingWhenItIsEndedBeforeTheRoot) {
    ScanOptions options;
    options.keepingFound.emplace().cancel();
    const ScanEvents events = scan("/tmp", FakeTree{"/tmp"}.file("a"), options);
    EXPECT_EQ(events.error, nullptr);
    EXPECT_FALSE(events.snapshot.has_value());
}

TEST(DiskScanner, scansAFileAndALinkGivenAsRoot) {
    const TemporaryFolder folder;
    const std::string file = folder.makeFile("a.txt", "content");
    std::filesystem::create_symlink(file, folder / "link");
    const ScanEvents ofFile = scanFolder(file);
    ASSERT_EQ(ofFile.result().records().size(), 1U);
    EXPECT_EQ(ofFile.result().records()[0].kind(), FileKind::file);
    EXPECT_EQ(ofFile.result().records()[0].logicalBytes(), 7);
    EXPECT_EQ(ofFile.progress.back().filesSeen, 0);
    const ScanEvents ofLink = scanFolder(folder / "link");
    ASSERT_EQ(ofLink.result().records().size(), 1U);
    EXPECT_EQ(ofLink.result().records()[0].kind(), FileKind::symbolicLink);
}

TEST(DiskScanner, scansARealFolder) {
    const TemporaryFolder folder;
    folder.makeFile("d/one.txt", std::string(10'000, 'x'));
    std::filesystem::create_hard_link(folder / "d/one.txt", folder / "d/two.txt");
    std::filesystem::create_directory_symlink(folder / "d", folder / "loop");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
    const ScanEvents events = scanFolder(folder.path());
    const Text root{folder.path()};
    EXPECT_EQ(events.result().records().size(), 6U);
    EXPECT_EQ(events.record(root).kind(), FileKind::directory);
    EXPECT_TRUE(events.result().children(Text{folder / "loop"}).empty());
    EXPECT_EQ(events.record(Text{folder / "loop"}).kind(), FileKind::symbolicLink);
    EXPECT_NE(events.record(Text{folder / "d/one.txt"}).isHardLinkDuplicate(),
              events.record(Text{folder / "d/two.txt"}).isHardLinkDuplicate());
    std::int64_t sum = 0;
    for (const FileRecord& record : events.result().records()) {
        if (!record.isHardLinkDuplicate()) sum += record.allocatedBytes();
    }
    EXPECT_EQ(events.result().totalAllocatedBytes(), sum);
}

TEST(DiskScanner, reportsFoldersItMayNotEnter) {
    const TemporaryFolder folder;
    folder.makeFile("locked/a");
    folder.makeFile("listable/b");
    folder.makeFile("open/c");
    std::filesystem::permissions(folder.path(), std::filesystem::perms::all);
    ::chmod((folder / "locked").c_str(), 0);
    ::chmod((folder / "listable").c_str(), 0444);
    ScanEvents events;
    {
        const UnprivilegedThread unprivileged;
        auto [stream, continuation] = EventStream<ScanEvent>::make();
        runScan(ScanScope{URL::fromPath(Text{folder.path()})}, ScanEnvironment::ofThisSystem(), continuation);
        continuation.finish();
        events = collect(std::move(stream));
    }
    ::chmod((folder / "locked").c_str(), 0755);
    ::chmod((folder / "listable").c_str(), 0755);
    EXPECT_TRUE(events.result().record(Text{folder / "locked"}).has_value());
    EXPECT_TRUE(events.result().record(Text{folder / "open/c"}).has_value());
    EXPECT_FALSE(events.result().record(Text{folder / "listable/b"}).has_value());
    std::vector<std::string> issues;
    for (const ScanIssue& issue : events.result().issues())
        issues.push_back(issue.path.string() + ": " + issue.message.string());
    EXPECT_THAT(issues, ::testing::UnorderedElementsAre((folder / "locked") + ": Permission denied",
                                                        (folder / "listable/b") + ": Permission denied"));
}

TEST(DiskScanner, endsInThePseudoFileSystemOfProcesses) {
    const ScanEvents events = scanFolder("/proc/self");
    EXPECT_EQ(events.error, nullptr);
    EXPECT_TRUE(events.result().record("/proc/self").has_value());
    EXPECT_LE(events.result().issues().size(), 1000U);
}

TEST(DiskScanner, twoScansAgree) {
    const TemporaryFolder folder;
    for (int i = 0; i < 300; ++i)
        folder.makeFile("d" + std::to_string(i % 7) + "/e" + std::to_string(i % 5) + "/f" + std::to_string(i), "x");
    const ScanEvents first = scanFolder(folder.path());
    const ScanEvents second = scanFolder(folder.path());
    EXPECT_EQ(pathsOf(first.result().records()), pathsOf(second.result().records()));
    EXPECT_EQ(first.result().totalAllocatedBytes(), second.result().totalAllocatedBytes());
    EXPECT_NE(first.result(), second.result());
}

TEST(DiskScanner, scansTenThousandLevels) {
#ifdef KESTREL_SANITIZED
    constexpr int levels = 1'000;
#else
    constexpr int levels = 10'000;
#endif
    FakeTree tree{"/tmp"};
    for (int i = 0; i < levels; ++i) tree.directory("d", {.allocatedBytes = 2});
    tree.file("deepest.txt", {.allocatedBytes = 1});
    for (int i = 0; i < levels; ++i) tree.end();
    const ScanSnapshot snapshot = scan("/tmp", tree).result();
    ASSERT_EQ(snapshot.records().size(), static_cast<std::size_t>(levels) + 2);
    EXPECT_EQ(snapshot.totalAllocatedBytes(), 2 * levels + 1);
    const FileRecord deepest = snapshot.records()[snapshot.records().size() - 1];
    EXPECT_EQ(deepest.path().byteCount(), 4 + 2 * static_cast<std::size_t>(levels) + 12);
    EXPECT_EQ(snapshot.record(deepest.path()), deepest);
    EXPECT_EQ(snapshot.children(deepest.parentPath()).size(), 1U);
    EXPECT_EQ(snapshot.removing({Text{"/tmp/d"}}).records().size(), 1U);
}

TEST(DiskScanner, scansAVeryLargeFolder) {
#ifdef KESTREL_SANITIZED
    constexpr std::size_t entries = 50'000;
#else
    constexpr std::size_t entries = 1'000'000;
#endif
    FakeTree tree{"/tmp"};
    for (std::size_t i = 0; i < entries; ++i)
        tree.file("file " + std::to_string(i), {.allocatedBytes = static_cast<std::int64_t>(i % 5)});
    const ScanSnapshot snapshot = scan("/tmp", tree).result();
    ASSERT_EQ(snapshot.records().size(), entries + 1);
    EXPECT_EQ(snapshot.totalAllocatedBytes(), static_cast<std::int64_t>(entries) * 2);
    EXPECT_EQ(SnapshotAccess::lookup(snapshot).children(SnapshotAccess::storage(snapshot), "/tmp").size(), entries);
    EXPECT_TRUE(snapshot.record("/tmp/file 4711").has_value());
    EXPECT_FALSE(SnapshotAccess::lookup(snapshot).hasDuplicatePaths());
}

}  // namespace KestrelCore
