#include "Platform/macOS/Trash/Portable/FoundationTrash.hpp"

#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace KestrelCore {

namespace {

namespace fs = std::filesystem;

class FoundationTrash : public testing::Test {
protected:
    FoundationTrash() {
        fs::create_directories(item_.parent_path());
        fs::create_directory(trash_);
        write(item_, "item");
        foundation_ = [this](const std::string& path, bool) {
            calls_ += 1;
            return moved(path);
        };
    }

    static void write(const fs::path& path, const std::string& text) { std::ofstream{path} << text; }
    static std::string read(const fs::path& path) {
        std::string text;
        std::ifstream{path} >> text;
        return text;
    }
    static ExpectedItem identity(const fs::path& path) {
        struct stat status {};
        EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
        return {.device = status.st_dev, .inode = status.st_ino, .fileTypeBits = status.st_mode & S_IFMT};
    }
    /// What the library does when nobody interferes.
    TrashAnswer moved(const fs::path& path) const {
        fs::rename(path, trash_ / path.filename());
        return {.place = (trash_ / path.filename()).string(), .error = {}};
    }
    std::optional<URL> trash(const CancellationToken& cancellation = {}) {
        return moveToTrashThroughFoundation(URL::fromPath(Text{item_.string()}), expected_, foundation_, cancellation);
    }
    PlatformError failure(const CancellationToken& cancellation = {}) {
        try {
            (void)trash(cancellation);
        } catch (const PlatformError& error) {
            return error;
        }
        ADD_FAILURE() << "It did not fail.";
        return PlatformError::posix(0);
    }

    TemporaryFolder folder_;
    const fs::path top_ = fs::canonical(folder_.path());
    const fs::path item_ = top_ / "parent/letter.txt";
    const fs::path trash_ = top_ / "trash";
    std::optional<ExpectedItem> expected_;
    FoundationMove foundation_;  ///< what answers in the place of the system's library
    int calls_ = 0;
};

constexpr const char* changed = "The item changed since the scan. Scan again before deleting it.";

TEST_F(FoundationTrash, tellsTheNewPlace) {
    expected_ = identity(item_);
    EXPECT_EQ(trash()->path(), Text{(trash_ / "letter.txt").string()});
    EXPECT_EQ(read(trash_ / "letter.txt"), "item");
}

TEST_F(FoundationTrash, mayTellNoPlace) {
    foundation_ = [&](const std::string& path, bool) { return TrashAnswer{.place = {}, .error = moved(path).error}; };
    EXPECT_FALSE(trash());
}

TEST_F(FoundationTrash, saysThatAFolderIsOne) {
    std::optional<bool> said;
    foundation_ = [&](const std::string& path, bool isFolder) {
        said = isFolder;
        return moved(path);
    };
    fs::remove(item_);
    fs::create_directory(item_);
    EXPECT_TRUE(trash()->absoluteString().view().ends_with('/'));
    EXPECT_EQ(said, true);
}

TEST_F(FoundationTrash, passesTheErrorOn) {
    foundation_ = [](const std::string&, bool) {
        return TrashAnswer{
            .place = {},
            .error = FoundationError{
                .domain = "NSCocoaErrorDomain", .code = 3328, .description = "It has none.", .underlying = nullptr}};
    };
    EXPECT_EQ(failure().code(), PlatformError::featureUnsupported);
    EXPECT_EQ(failure().description(), Text{"It has none."});
}

TEST_F(FoundationTrash, failsWithoutTheLibrary) {
    foundation_ = [](const std::string&, bool) { return std::nullopt; };
    EXPECT_EQ(failure().underlying()->code(), ENOTSUP);
    EXPECT_TRUE(fs::exists(item_));
}

TEST_F(FoundationTrash, isNotAskedAboutAnotherItem) {
    expected_ = identity(item_);
    write(top_ / "other", "other");
    fs::rename(top_ / "other", item_);
    EXPECT_EQ(failure().description(), Text{changed});
    EXPECT_EQ(calls_, 0);
}

TEST_F(FoundationTrash, isNotAskedAfterACancellation) {
    CancellationToken cancellation;
    cancellation.cancel();
    EXPECT_EQ(failure(cancellation).underlying()->code(), ECANCELED);
    EXPECT_EQ(calls_, 0);
}

TEST_F(FoundationTrash, givesBackWhatTookThePlaceOfTheItem) {
    write(top_ / "other", "other");
    foundation_ = [&](const std::string& path, bool) {
        fs::rename(item_, top_ / "kept");
        fs::rename(top_ / "other", item_);
        return moved(path);
    };
    EXPECT_EQ(failure().description(), Text{changed});
    EXPECT_EQ(read(item_), "other");
    EXPECT_EQ(read(top_ / "kept"), "item");
    EXPECT_TRUE(fs::is_empty(trash_));
}

TEST_F(FoundationTrash, leavesInTheTrashWhatCameFromElsewhere) {
    fs::create_directory(top_ / "outside");
    write(top_ / "outside/letter.txt", "outside");
    foundation_ = [&](const std::string& path, bool) {
        fs::rename(item_, top_ / "kept");
        fs::rename(item_.parent_path(), top_ / "away");
        fs::create_directory_symlink(top_ / "outside", item_.parent_path());
        return moved(path);
    };
    EXPECT_TRUE(failure().description().view().ends_with("What took its place is in the trash."));
    EXPECT_EQ(read(trash_ / "letter.txt"), "outside");
    EXPECT_TRUE(fs::is_empty(top_ / "away"));
}

}  // namespace
}  // namespace KestrelCore
