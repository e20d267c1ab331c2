#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"

#include "support/Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace KestrelCore {

using testing::aRecord;
using testing::aSnapshot;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

template <typename Assets>
std::vector<std::string> pathsOf(const Assets& assets) {
    std::vector<std::string> paths;
    for (const auto& asset : assets) paths.push_back(asset.record.path().string());
    return paths;
}

std::vector<std::string> images(const Text& root, const std::vector<FileRecord>& records) {
    return pathsOf(MediaLibraryIndexer::makeIndex(aSnapshot(root, records), "/Users/anna").images);
}

std::vector<std::string> documents(const Text& root, const std::vector<FileRecord>& records) {
    return pathsOf(DocumentLibraryIndexer::makeIndex(aSnapshot(root, records), "/Users/anna").documents);
}

}  // namespace

TEST(MediaLibraryIndexer, knowsAnExtensionInAnyCase) {
    EXPECT_EQ(MediaLibraryIndexer::kind("JPG"), MediaAssetKind::image);
    EXPECT_EQ(MediaLibraryIndexer::kind("Mov"), MediaAssetKind::video);
    for (const char* other : {"mp3", "", "jpgx", ".jpg"})
        EXPECT_FALSE(MediaLibraryIndexer::kind(other).has_value()) << other;
    EXPECT_EQ(fromRawValue<MediaAssetKind>("video"), MediaAssetKind::video);
    EXPECT_FALSE(fromRawValue<MediaAssetKind>("Video").has_value());
}

TEST(MediaLibraryIndexer, takesPlainFilesWithBlocksOfTheirOwn) {
    EXPECT_THAT(images("/r", {aRecord({.path = "/r/IMG_1.JPG"}), aRecord({.path = "/r/empty.jpg", .allocated = 0}),
                              aRecord({.path = "/r/again.jpg", .isDuplicate = true}),
                              aRecord({.path = "/r/photos.jpg", .kind = FileKind::directory}),
                              aRecord({.path = "/r/link.jpg", .kind = FileKind::symbolicLink}),
                              aRecord({.path = "/r/cloud.jpg", .isHidden = true, .isCloudPlaceholder = true})}),
                ElementsAre("/r/cloud.jpg", "/r/IMG_1.JPG"));
}

TEST(MediaLibraryIndexer, looksBelowTheRootOrBelowTheHomeOfAWholeDisk) {
    const std::vector<FileRecord> records{
        aRecord({.path = "/Users/anna/Pictures/a.png"}), aRecord({.path = "/Volumes/Disk/b.png"}),
        aRecord({.path = "/Users/Shared/c.png"}), aRecord({.path = "/Users/annabel/d.png"}),
        aRecord({.path = "/Users/anna/Pictures.png"})};
    EXPECT_THAT(images("/Users/anna/Pictures", records), ElementsAre("/Users/anna/Pictures/a.png"));
    EXPECT_THAT(images("/", records),
                ElementsAre("/Users/anna/Pictures/a.png", "/Users/Shared/c.png", "/Users/anna/Pictures.png"));
    EXPECT_THAT(images("/x.png", {aRecord({.path = "/x.png", .isTop = true})}), ElementsAre("/x.png"));
    EXPECT_THAT(images("/x.png", {aRecord({.path = "/x.png"})}), ElementsAre("/x.png"));
}

TEST(MediaLibraryIndexer, leavesOutDottedAndExcludedFolders) {
    std::vector<FileRecord> records{aRecord({.path = "/Users/anna/.x.png"})};
    for (const char* folder :
         {"Library/Caches", ".Trash", "a/node_modules/b", "Pods", "DerivedData/x", ".build", "p/.git/q", ".hidden"}) {
        records.push_back(aRecord({.path = Text{"/Users/anna/" + std::string{folder} + "/x.png"}}));
    }
    records.push_back(aRecord({.path = "/Users/anna/library/y.png"}));
    records.push_back(aRecord({.path = "/Users/anna/MyLibrary/y.png"}));
    EXPECT_THAT(images("/Users/anna", records),
                ElementsAre("/Users/anna/.x.png", "/Users/anna/library/y.png", "/Users/anna/MyLibrary/y.png"));
}

TEST(MediaLibraryIndexer, sortsNewestFirstThenByNaturalOrder) {
    EXPECT_THAT(
        images("/r", {aRecord({.path = "/r/none.png", .modified = std::nullopt}), aRecord({.path = "/r/a 10.png"}),
                      aRecord({.path = "/r/a 2.png"}), aRecord({.path = "/r/new.png", .modified = Date{2000}}),
                      aRecord({.path = "/r/also none.png", .modified = std::nullopt})}),
        ElementsAre("/r/new.png", "/r/a 2.png", "/r/a 10.png", "/r/also none.png", "/r/none.png"));
}

TEST(MediaLibraryIndex, sumsItsLists) {
    const MediaLibraryIndex index = MediaLibraryIndexer::makeIndex(
        aSnapshot("/r", {aRecord({.path = "/r/a.png", .allocated = 3}), aRecord({.path = "/r/b.mov", .allocated = 4})}),
        "/h");
    EXPECT_EQ(index.imageBytes(), 3);
    EXPECT_EQ(index.videoBytes(), 4);
    EXPECT_EQ(index.totalBytes(), 7);
    EXPECT_EQ(MediaLibraryIndex::empty().totalBytes(), 0);
    EXPECT_EQ(index.images[0].id(), index.images[0].record.id());
}

TEST(MediaLibraryIndexDeathTest, stopsWhenASumOverflows) {
    const MediaAsset huge{aRecord({.allocated = std::numeric_limits<std::int64_t>::max()}), MediaAssetKind::image};
    const MediaLibraryIndex index{.images = {huge, huge}, .videos = {}};
    EXPECT_DEATH((void)index.imageBytes(), "KestrelCore/Libraries/MediaLibraryIndexer: Fatal error");
}

TEST(DocumentLibraryIndexer, knowsFortyExtensions) {
    EXPECT_EQ(DocumentLibraryIndexer::supportedExtensions().size(), 40U);
    EXPECT_TRUE(DocumentLibraryIndexer::supportedExtensions().contains("pdf"));
    EXPECT_TRUE(DocumentLibraryIndexer::supportedExtensions().contains("yml"));
    EXPECT_EQ(DocumentLibraryIndexer::kind("PDF"), DocumentAssetKind::pdf);
    EXPECT_EQ(DocumentLibraryIndexer::kind("MD"), DocumentAssetKind::text);
    EXPECT_EQ(DocumentLibraryIndexer::kind("azw3"), DocumentAssetKind::ebook);
    EXPECT_FALSE(DocumentLibraryIndexer::kind("zip").has_value());
    EXPECT_EQ(fromRawValue<DocumentAssetKind>("presentation"), DocumentAssetKind::presentation);
    EXPECT_FALSE(fromRawValue<DocumentAssetKind>("").has_value());
}

TEST(DocumentLibraryIndexer, admitsTheCloudDrivesInsideTheHomesLibrary) {
    const std::vector<FileRecord> records{
        aRecord({.path = "/Users/anna/Library/Mobile Documents/com~apple~CloudDocs/Plan.pages"}),
        aRecord({.path = "/Users/anna/Library/CloudStorage/Box/a.pdf"}),
        aRecord({.path = "/Users/anna/Library/CloudStorage/Library/b.pdf"}),
        aRecord({.path = "/Users/anna/Library/Application Support/x.txt"}),
        aRecord({.path = "/Users/anna/Library/Mobile Documents/other/x.txt"}),
        aRecord({.path = "/Users/bob/Library/CloudStorage/x.txt"}),
        aRecord({.path = "/Users/anna/Library/CloudStorage/Caches/x.txt"}),
        aRecord({.path = "/Users/anna/Library/CloudStorage/.git/x.txt"})};
    EXPECT_THAT(documents("/Users", records),
                ElementsAre("/Users/anna/Library/CloudStorage/Box/a.pdf",
                            "/Users/anna/Library/CloudStorage/Library/b.pdf",
                            "/Users/anna/Library/Mobile Documents/com~apple~CloudDocs/Plan.pages"));
}

TEST(DocumentLibraryIndexer, leavesOutWhatBundlesAndCachesHold) {
    const std::vector<FileRecord> records{
        aRecord({.path = "/Users/anna/Projects/App.app/Contents/Resources/readme.txt"}),
        aRecord({.path = "/Users/anna/A.framework/readme.txt"}), aRecord({.path = "/Users/anna/Caches/c.txt"}),
        aRecord({.path = "/Users/anna/App.app/other.txt"}), aRecord({.path = "/Users/anna/Contents/b.txt"})};
    EXPECT_THAT(documents("/Users/anna", records),
                ElementsAre("/Users/anna/Contents/b.txt", "/Users/anna/App.app/other.txt"));
}

TEST(DocumentLibraryIndexer, sortsNewestFirstThenByNaturalOrderAndWithoutADateLast) {
    EXPECT_THAT(
        documents("/r", {aRecord({.path = "/r/none.txt", .modified = std::nullopt}), aRecord({.path = "/r/a 10.pdf"}),
                         aRecord({.path = "/r/z/a 2.txt"}), aRecord({.path = "/r/new.md", .modified = Date{2000}}),
                         aRecord({.path = "/r/also none.pdf", .modified = std::nullopt}),
                         aRecord({.path = "/r/none 10.txt", .modified = std::nullopt}),
                         aRecord({.path = "/r/none 9.txt", .modified = std::nullopt})}),
        ElementsAre("/r/new.md", "/r/z/a 2.txt", "/r/a 10.pdf", "/r/also none.pdf", "/r/none 9.txt", "/r/none 10.txt",
                    "/r/none.txt"));
}

TEST(DocumentLibraryIndexer, looksInTheSharedFolderOfAWholeDisk) {
    EXPECT_THAT(documents("/", {aRecord({.path = "/Users/Shared/manual.pdf"}), aRecord({.path = "/opt/doc.pdf"})}),
                ElementsAre("/Users/Shared/manual.pdf"));
    EXPECT_THAT(documents("/", {}), IsEmpty());
}

TEST(MediaLibraryIndex, isEqualByAllThatItHolds) {
    const MediaAsset image{aRecord({.path = "/r/a.png"}), MediaAssetKind::image};
    const MediaLibraryIndex one{.images = {image}, .videos = {}};
    const MediaLibraryIndex other{.images = {}, .videos = {image}};
    EXPECT_EQ(one, (MediaLibraryIndex{.images = {image}, .videos = {}}));
    EXPECT_NE(one, other);
    const std::hash<MediaLibraryIndex> hash;
    EXPECT_EQ(hash(one), hash(MediaLibraryIndex{.images = {image}, .videos = {}}));
    EXPECT_NE(hash(one), hash(other));
    EXPECT_NE(hash(one), hash(MediaLibraryIndex::empty()));
}

TEST(DocumentLibraryIndex, isEqualByAllThatItHolds) {
    const DocumentAsset asset{aRecord({.path = "/r/a.pdf"}), DocumentAssetKind::pdf};
    const DocumentLibraryIndex one{.documents = {asset}};
    EXPECT_EQ(one, DocumentLibraryIndex{.documents = {asset}});
    EXPECT_NE(one, DocumentLibraryIndex::empty());
    const std::hash<DocumentLibraryIndex> hash;
    EXPECT_EQ(hash(one), hash(DocumentLibraryIndex{.documents = {asset}}));
    EXPECT_NE(hash(one), hash(DocumentLibraryIndex::empty()));
}

}  // namespace KestrelCore
