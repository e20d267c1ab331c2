#include "Platform/macOS/Walk/Portable/BulkFolders.hpp"

#include "support/BulkTraversal.hpp"
#include "support/FtsTraversal.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/TraversalListing.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace KestrelCore {

namespace {

using Lines = std::vector<std::string>;
using ::testing::ElementsAre;

/// Answers that were written down, one after the other.
class WrittenFolders final : public BulkFolders {
public:
    struct Answer {
        std::string bytes;
        int count = 0;
        int errorNumber = 0;
    };
    explicit WrittenFolders(std::vector<Answer> answers) : answers_{std::move(answers)} {}

    /// What a reader takes from it, and the error in the end.
    Lines names() {
        Lines result;
        while (readPiece(-1)) {
            while (const ListedEntry* entry = next()) result.emplace_back(entry->name);
            if (errorNumber() != 0) break;
        }
        result.push_back(std::to_string(errorNumber()));
        return result;
    }

private:
    int list(int, std::span<char> buffer) override {
        if (next_ == answers_.size()) return 0;
        const Answer& answer = answers_[next_++];
        answer.bytes.copy(buffer.data(), buffer.size());
        errno = answer.errorNumber;
        return answer.errorNumber != 0 ? -1 : answer.count;
    }

    std::vector<Answer> answers_;
    std::size_t next_ = 0;
};

std::string record(const char* name) { return bulkRecordBytes({.name = name, .status = {.type = FileType::regular}}); }

/// Says by its name what a folder is.
void adjustByName(MadeBulkRecord& made) {
    if (made.name.starts_with("mount")) made.mountStatus = BulkAttributes::isMountPoint;
    if (made.name.starts_with("trigger")) made.mountStatus = BulkAttributes::isTrigger;
    if (made.name.starts_with("dataless")) made.flags = BulkAttributes::datalessFlag;
    if (made.name.starts_with("firmlink")) {
        // The listing tells of the folder beneath, which is another.
        made.flags = BulkAttributes::firmlinkFlag;
        made.status.inode += 1'000'000;
        made.status.device += 1;
    }
}

}  // namespace

TEST(BulkFolders, giveWhatWasReadBeforeTheySayWhatWentWrong) {
    EXPECT_THAT((WrittenFolders{{{record("a") + record("b"), 2}, {record("c"), 1}}}.names()),
                ElementsAre("a", "b", "c", "0"));
    EXPECT_THAT((WrittenFolders{{{record("a"), 1}, {"", 0, EIO}}}.names()), ElementsAre("a", std::to_string(EIO)));
    // A signal is no error, and a folder that was removed is empty.
    EXPECT_THAT((WrittenFolders{{{"", 0, EINTR}, {record("a"), 1}, {"", 0, ENOENT}}}.names()), ElementsAre("a", "0"));
    // What can't be understood ends the folder; what came before it counts.
    EXPECT_THAT((WrittenFolders{{{record("a") + record("x/y") + record("b"), 3}, {record("c"), 1}}}.names()),
                ElementsAre("a", std::to_string(EIO)));
    EXPECT_THAT((WrittenFolders{{{record("a"), 2}, {record("c"), 1}}}.names()), ElementsAre(std::to_string(EIO)));
}

TEST(BulkFolders, giveALargeFolderInPieces) {
    const TemporaryFolder folder;
    for (int index = 0; index < 3'500; ++index) {
        const std::string name = std::to_string(index);
        if (index % 500 == 0)
            folder.makeFile(name + "/file");
        else
            folder.makeFile(name);
    }
    const TraversalOptions options{folder.path(), {}, {}};
    const Lines expected = listing(openFtsTraversal(options));
    EXPECT_EQ(firstDifference(listing(openBulkTraversal(options)), expected), "");
    const BulkSetting plain{.adjust = {}, .volumes = {}, .refusal = ENOTSUP};
    EXPECT_EQ(firstDifference(listing(openBulkTraversal(options, plain)), expected), "");
    // A bound holds where a piece ends, too.
    TraversalOptions bounded{.root = folder.path(), .notEntered = {}, .cancellation = {}};
    bounded.mostEntriesInFolder = 1'000;
    const Lines found = briefListing(openBulkTraversal(bounded));
    EXPECT_EQ(found.back(), "0 unreadable " + folder.path() + " " + std::to_string(EOVERFLOW));
}

TEST(BulkFolders, aRefusalInTheMiddleOfAFolderIsNotItsEnd) {
    const TemporaryFolder folder;
    for (int index = 0; index < 400; ++index) folder.makeFile("large/" + std::to_string(index));
    for (const int refusal : {ENOTSUP, EINVAL, ENOSYS, EACCES}) {
        const Lines found =
            briefListing(openBulkTraversal({folder.path(), {}, {}}, {.adjust = {}, .refusalOfTheRest = refusal}));
        EXPECT_THAT(found, ::testing::Contains("1 unreadable large " + std::to_string(refusal)));
        // What was listed before stays, and it is less than all.
        const auto files = std::ranges::count_if(found, [](const auto& line) { return line.starts_with("2 item "); });
        EXPECT_GT(files, 100) << refusal;
        EXPECT_LT(files, 400) << refusal;
    }
}

TEST(BulkFolders, believesAListingAboutFilesAndLooksAtFolders) {
    const TemporaryFolder folder;
    folder.makeFile("a/b/file", "12345");
    // No mount and no firmlink is told of, and yet the folders that are opened are others than those of the listing.
    const BulkSetting otherNumbers{.adjust = [](MadeBulkRecord& made) {
        if (made.status.type != FileType::directory) return;
        made.status.inode += 1'000'000;
        made.status.device += 1;
    }};
    const TraversalOptions options{folder.path(), {}, {}};
    EXPECT_EQ(listing(openBulkTraversal(options, otherNumbers)), listing(openFtsTraversal(options)));
    const BulkSetting larger{.adjust = [](MadeBulkRecord& made) { made.status.size += 1'000; }};
    std::int64_t size = 0;
    const auto walk = openBulkTraversal(options, larger);
    while (const TraversalEntry* entry = walk->next())
        if (entry->name == "file") size = entry->status->size;
    EXPECT_EQ(size, 1'005);
}

TEST(BulkFolders, giveTheNamesInAFolderThatMayNotBeSearched) {
    const TemporaryFolder folder;
    folder.makeFile("a/file");
    folder.makeFile("file");
    const TraversalOptions options{folder.path(), {}, {}};
    const Lines found = listing(openBulkTraversal(options, {.adjust = {}, .refusal = EACCES}));
    EXPECT_EQ(found, listing(openFtsTraversal(options)));
    // Any other refusal is one of the names, too.
    const Lines broken = briefListing(openBulkTraversal(options, {.adjust = {}, .refusal = EPERM}));
    EXPECT_THAT(broken, ::testing::Contains("0 unreadable " + folder.path() + " " + std::to_string(EPERM)));
    EXPECT_EQ(broken.size(), 2U);
}

TEST(BulkFolders, saysOfOneFolderThatItCanNotBeUnderstood) {
    const TemporaryFolder folder;
    folder.makeFile("a/good");
    folder.makeFile("b/bad");
    folder.makeFile("c/good");
    const BulkSetting hostile{.adjust =
                                  [](MadeBulkRecord& made) {
                                      if (made.name == "bad") made.name = "../a";
                                  },
                              .volumes = {}};
    const Lines found = briefListing(openBulkTraversal({folder.path(), {}, {}}, hostile));
    EXPECT_THAT(found, ::testing::Contains("1 unreadable b " + std::to_string(EIO)));
    EXPECT_THAT(found, ::testing::Contains("2 item good").Times(2));
    EXPECT_EQ(found.size(), 10U);
}

TEST(BulkFolders, entersNeitherMountsNorTriggersNorWhatHasNoData) {
    const TemporaryFolder folder;
    for (const char* name : {"mount", "trigger", "dataless", "firmlink"}) {
        folder.makeFile(std::string{name} + "/file");
        Lines expected = {"0 directory " + folder / name, "1 item file", "0 end " + folder / name};
        // A root is walked whatever stands around it.
        EXPECT_EQ(briefListing(openBulkTraversal({folder / name, {}, {}}, {.adjust = adjustByName, .volumes = {}})),
                  expected);
    }
    const Lines brief =
        briefListing(openBulkTraversal({folder.path(), {}, {}}, {.adjust = adjustByName, .volumes = {}}));
    const std::string first = "0 directory " + folder.path();
    const std::string last = "0 end " + folder.path();
    EXPECT_THAT(brief, ::testing::UnorderedElementsAre(first, "1 directory mount", "1 end mount", "1 directory trigger",
                                                       "1 end trigger", "1 directory dataless", "1 end dataless",
                                                       "1 directory firmlink", "2 item file", "1 end firmlink", last));
    // What a firmlink leads to has the identity that `lstat` gives, not that of the folder beneath.
    const Lines withStatuses =
        listing(openBulkTraversal({folder.path(), {}, {}}, {.adjust = adjustByName, .volumes = {}}));
    const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
    const auto isFirmlink = [](const std::string& line) { return line.starts_with("1 directory firmlink "); };
    const auto found = std::ranges::find_if(withStatuses, isFirmlink);
    ASSERT_NE(found, withStatuses.end());
    EXPECT_THAT(expected, ::testing::Contains(*found));
    // Crossing mounts enters no trigger, and nothing that has no data.
    TraversalOptions crossing{.root = folder.path(), .notEntered = {}, .cancellation = {}};
    crossing.crossing = MountCrossing::all;
    const Lines crossed = briefListing(openBulkTraversal(crossing, {.adjust = adjustByName, .volumes = {}}));
    EXPECT_THAT(crossed, ::testing::Contains("2 item file").Times(2));
    EXPECT_EQ(crossed.size(), 12U);
}

TEST(BulkFolders, crossesIntoVolumesButNotTwiceIntoTheDataVolume) {
    const TemporaryFolder folder;
    folder.makeFile("System/Volumes/mountData/Users/anna/file");
    folder.makeFile("Users/mountOther/file");
    const std::string data = folder / "System/Volumes/mountData";
    std::vector<MountedFileSystem> mounted(3);
    mounted[0] = {.point = folder.path(), .source = "/dev/disk3s1s1", .kind = "apfs", .isLocal = true, .isRoot = true};
    mounted[1] = {
        .point = data, .source = "/dev/disk3s5", .kind = "apfs", .device = 1, .isLocal = true, .isDataOfRoot = true};
    mounted[2] = {.point = folder / "Users/mountOther", .source = "//nas/share", .kind = "smbfs", .device = 2};
    Firmlinks firmlinks;
    firmlinks.links.push_back({.place = folder / "Users", .folder = "/Users"});
    const BulkSetting setting{.adjust = adjustByName, .volumes = VolumeTable{mounted, firmlinks}};
    TraversalOptions options{.root = folder.path(), .notEntered = {}, .cancellation = {}};
    options.crossing = MountCrossing::exceptKernel;
    const auto walk = openBulkTraversal(options, setting);
    const Lines found = listing(*walk);
    const std::vector<TraversalMount> entered = walk->entered();
    ASSERT_EQ(entered.size(), 1U);
    EXPECT_EQ(entered[0].path, folder / "Users/mountOther");
    EXPECT_EQ(entered[0].kind, "smbfs");
    EXPECT_TRUE(entered[0].isRemote);
    EXPECT_EQ(std::count_if(found.begin(), found.end(),
                            [&](const auto& line) { return line.find(" item file") != std::string::npos; }),
              1);
    // Below the system's folders it is the only place where the data volume is seen.
    options.root = folder / "System/Volumes";
    const auto below = openBulkTraversal(options, setting);
    (void)listing(*below);
    ASSERT_EQ(below->entered().size(), 1U);
    EXPECT_EQ(below->entered()[0].path, data);
    EXPECT_FALSE(below->entered()[0].isRemote);
}

}  // namespace KestrelCore
