#include "KestrelCore/Model/ItemCategory.hpp"

#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "support/Records.hpp"

#include <gtest/gtest.h>

#include <string>

namespace KestrelCore {

TEST(ItemCategory, isToldByTheExtensionInAnyCase) {
    struct Case {
        Text extension;
        ItemCategory category;
    };
    for (const Case& each :
         {Case{"JPG", ItemCategory::photos}, Case{"mkv", ItemCategory::videos}, Case{"flac", ItemCategory::music},
          Case{"pdf", ItemCategory::documents}, Case{"zip", ItemCategory::archives}, Case{"cpp", ItemCategory::code},
          Case{"deb", ItemCategory::applications}, Case{"qcow2", ItemCategory::diskImages},
          Case{"sqlite", ItemCategory::databases}, Case{"dat", ItemCategory::other}, Case{"", ItemCategory::other},
          Case{"ts", ItemCategory::code}}) {
        EXPECT_EQ(ItemCategories::of(each.extension), each.category) << each.extension.view();
    }
}

TEST(ItemCategory, agreesWithTheLibraries) {
    std::vector<Text> extensions;
    for (const char* name : {"avif", "bmp", "dng", "gif", "heic", "heif", "ico", "jpeg", "jpg", "jxl",  "png",
                             "psd",  "raw", "svg", "tif", "tiff", "webp", "3g2", "3gp",  "avi", "flv",  "m2ts",
                             "m4v",  "mkv", "mov", "mp4", "mpeg", "mpg",  "mts", "ogv",  "vob", "webm", "wmv"}) {
        const auto kind = MediaLibraryIndexer::kind(name);
        ASSERT_TRUE(kind.has_value()) << name;
        EXPECT_EQ(ItemCategories::of(Text{name}),
                  *kind == MediaAssetKind::image ? ItemCategory::photos : ItemCategory::videos)
            << name;
    }
    for (const Text& extension : DocumentLibraryIndexer::supportedExtensions())
        EXPECT_EQ(ItemCategories::of(extension), ItemCategory::documents) << extension.view();
}

TEST(ItemCategory, ofItemsThatAreNoFiles) {
    EXPECT_EQ(ItemCategories::of(testing::aRecord({.path = "/r/A.app", .kind = FileKind::package})),
              ItemCategory::applications);
    EXPECT_EQ(ItemCategories::of(testing::aRecord({.path = "/r/a", .kind = FileKind::directory})), std::nullopt);
    EXPECT_EQ(ItemCategories::of(testing::aRecord({.path = "/r/a", .kind = FileKind::symbolicLink})), std::nullopt);
}

TEST(ItemCategory, isMeantByTheWordsThatPeopleSay) {
    for (const ItemCategory category : allItemCategories)
        EXPECT_EQ(ItemCategories::named(ItemCategories::nameOf(category)), category);
    EXPECT_EQ(ItemCategories::named("film"), ItemCategory::videos);
    EXPECT_EQ(ItemCategories::named("picture"), ItemCategory::photos);
    EXPECT_EQ(ItemCategories::named("disk-images"), ItemCategory::diskImages);
    EXPECT_EQ(ItemCategories::named("folder"), std::nullopt);
    EXPECT_EQ(ItemCategories::named(""), std::nullopt);
}

}  // namespace KestrelCore
