#include "KestrelCore/Exchange/PublicationRows.hpp"

#include "KestrelCore/Model/ItemCategory.hpp"
#include "KestrelCore/Snapshot/Summary.hpp"
#include "KestrelCore/Snapshot/SummaryAge.hpp"
#include "support/Duplicates.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace KestrelCore {

namespace {

struct FolderRow {
    std::string parent;
    std::uint16_t depth = 0;
    std::uint64_t items = 0;
    std::uint64_t files = 0;
    std::int64_t bytes = 0;
    std::uint32_t oldest = 0;
    std::uint32_t newest = 0;
    std::array<std::int64_t, 5> byAge{};
    std::array<std::int64_t, allItemCategories.size()> byCategory{};
};

/// Takes values from the front of rows.
class Bytes {
public:
    explicit Bytes(std::string_view rows) : rest_{rows} {}

    [[nodiscard]] bool isEmpty() const { return rest_.empty(); }
    std::string text() {
        const auto length = number<std::uint8_t>();  // all texts here are short
        EXPECT_LT(length, 128);
        const std::string text{rest_.substr(0, length)};
        rest_.remove_prefix(length);
        return text;
    }
    template <typename Number>
    Number number() {
        Number number{};
        std::memcpy(&number, rest_.data(), sizeof number);
        rest_.remove_prefix(sizeof number);
        return number;
    }

private:
    std::string_view rest_;
};

std::map<std::string, FolderRow> folderRows(const ScanSnapshot& snapshot) {
    std::string rows;
    const PublicationRows publication{snapshot, {.host = "h", .volume = "v", .publication = 7}};
    const auto count = publication.folders([&](std::string&& batch, std::int64_t) { rows += batch; }, {});
    std::map<std::string, FolderRow> folders;
    for (Bytes bytes{rows}; !bytes.isEmpty();) {
        EXPECT_EQ(bytes.text(), "h");
        EXPECT_EQ(bytes.text(), "v");
        EXPECT_EQ(bytes.number<std::uint64_t>(), 7U);
        FolderRow& row = folders[bytes.text()];
        row.parent = bytes.text();
        row.depth = bytes.number<std::uint16_t>();
        row.items = bytes.number<std::uint64_t>();
        row.files = bytes.number<std::uint64_t>();
        row.bytes = bytes.number<std::int64_t>();
        row.oldest = bytes.number<std::uint32_t>();
        row.newest = bytes.number<std::uint32_t>();
        for (std::int64_t& each : row.byAge) each = bytes.number<std::int64_t>();
        for (std::int64_t& each : row.byCategory) each = bytes.number<std::int64_t>();
    }
    EXPECT_EQ(count, std::ssize(folders));
    return folders;
}

/// Bytes by the name of the row.
std::map<std::string, std::int64_t> summaryBy(const ScanSnapshot& snapshot, const Text& path,
                                              SummaryGrouping grouping) {
    std::map<std::string, std::int64_t> bytes;
    const auto summary = Summary::of(snapshot, path, grouping, {.cancellation = {}, .now = snapshot.completedAt()});
    for (const SummaryRow& row : summary.value().rows) bytes[row.name.string()] = row.bytes;
    return bytes;
}

constexpr std::int64_t day = 86'400;

/// Files of every category and age, some in packages, one of which lies in another, and one with a second name.
void fill(const TemporaryFolder& folder, std::int64_t now) {
    std::mt19937 random{7};
    for (const char* place : {"a", "a/b", "c", "c/Tool.app/Contents", "c/Tool.app/Contents/In.app/x"}) {
        for (const char* extension : {"jpg", "mp4", "mp3", "pdf", "zip", "cpp", "dmg", "sqlite", "xyz"}) {
            const std::string path =
                folder.makeFile(std::string{place} + "/f." + extension, std::string(4096U * (1 + random() % 4), 'x'));
            constexpr std::array<std::int64_t, 6> ages{1, 45, 200, 700, 2000, 4000};
            const timespec times[2]{{.tv_sec = now, .tv_nsec = 0},
                                    {.tv_sec = now - ages[random() % ages.size()] * day, .tv_nsec = 0}};
            ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        }
    }
    ASSERT_EQ(link((folder / "a/f.mp4").c_str(), (folder / "c/again.mp4").c_str()), 0);
    ASSERT_EQ(symlink("f.mp4", (folder / "a/link").c_str()), 0);
}

}  // namespace

TEST(FleetPublicationRows, foldersHaveTheSumsOfTheirSummaries) {
    const TemporaryFolder folder;
    fill(folder, time(nullptr));
    const ScanSnapshot snapshot = testing::scanned(folder.path());
    const std::map<std::string, FolderRow> rows = folderRows(snapshot);
    std::size_t folders = 0;
    for (const FileRecord& record : snapshot.records()) {
        if (!record.isContainer()) continue;
        ++folders;
        const std::string path = record.path().string();
        SCOPED_TRACE(path);
        ASSERT_TRUE(rows.contains(path));
        const FolderRow& row = rows.at(path);
        EXPECT_EQ(row.bytes, record.displayBytes());
        EXPECT_EQ(row.parent, path == folder.path() ? "" : path.substr(0, path.rfind('/')));

        auto byType = summaryBy(snapshot, record.path(), SummaryGrouping::type);
        for (std::size_t i = 0; i < allItemCategories.size(); ++i)
            EXPECT_EQ(row.byCategory[i], byType[std::string{ItemCategories::nameOf(allItemCategories[i])}]) << i;
        auto byAge = summaryBy(snapshot, record.path(), SummaryGrouping::age);
        for (std::size_t i = 0; i < row.byAge.size(); ++i)
            EXPECT_EQ(row.byAge[i], byAge[std::string{SummaryAges::all()[i].name}]) << i;
        const auto summary = Summary::of(snapshot, record.path(), SummaryGrouping::depth);
        EXPECT_EQ(static_cast<std::int64_t>(row.files), summary.value().all.items);
    }
    EXPECT_EQ(folders, rows.size());
    // All that is below: 45 files, another name of one, a link, and 7 folders.
    EXPECT_EQ(rows.at(folder.path()).items, 54U);
    EXPECT_EQ(rows.at(folder / "c/Tool.app/Contents/In.app").depth, 4U);
    // Both packages are applications from above; what lies in the outer one is what it is from inside.
    EXPECT_GT(rows.at(folder / "c/Tool.app").byCategory[0], 0);
}

TEST(FleetPublicationRows, foldersTellTheirOldestAndNewestFile) {
    const TemporaryFolder folder;
    for (const auto& [name, seconds] : std::map<std::string, std::int64_t>{{"a/old", 1000}, {"b", 2'000'000'000}}) {
        const std::string path = folder.makeFile(name, "x");
        const timespec times[2]{{.tv_sec = seconds, .tv_nsec = 0}, {.tv_sec = seconds, .tv_nsec = 999}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    }
    (void)folder.makeFolder("empty");
    const std::map<std::string, FolderRow> rows = folderRows(testing::scanned(folder.path()));
    EXPECT_EQ(rows.at(folder.path()).oldest, 1000U);
    EXPECT_EQ(rows.at(folder.path()).newest, 2'000'000'000U);
    EXPECT_EQ(rows.at(folder / "a").newest, 1000U);
    EXPECT_EQ(rows.at(folder / "empty").oldest, 0U);
}

}  // namespace KestrelCore
