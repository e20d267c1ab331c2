#include "report/ReportData.hpp"

#include "report/ReportPage.hpp"
#include "store/SavedScan.hpp"
#include "support/Records.hpp"

#include "KestrelCore/Snapshot/Summary.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>
#include <zlib.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace KestrelCore;
using KestrelCore::testing::aRecord;
using KestrelCore::testing::aSnapshot;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace KestrelCLI {

namespace {

constexpr std::int64_t now = 1'780'000'020;  // a whole minute
constexpr double day = 86'400;

FileRecord file(const std::string& path, std::int64_t bytes, double days = 1) {
    return aRecord({.path = path,
                    .allocated = bytes,
                    .modified = Date::since1970(static_cast<double>(now)).addingSeconds(-days * day)});
}
FileRecord folder(const std::string& path, std::int64_t bytes, FileKind kind = FileKind::directory) {
    return aRecord({.path = path, .isTop = path == "/r", .kind = kind, .aggregate = bytes});
}

/// What a block says, read as the page's script reads it.
struct Block {
    struct Item {
        std::string path;
        int type = 0;
        bool isFurtherLink = false;
        std::int64_t bytes = 0;  ///< with all in it
        std::optional<std::int64_t> minutes;
        std::optional<std::int64_t> change;
    };
    struct Rest {
        std::int64_t items = 0;
        std::int64_t bytes = 0;
        std::map<int, std::pair<std::int64_t, std::int64_t>> files;  ///< class: how many, bytes
    };

    std::string head;
    std::vector<Item> items;
    std::map<std::string, Rest> rests;  ///< by the path of the folder

    [[nodiscard]] std::vector<std::string> paths() const {
        std::vector<std::string> result;
        for (const Item& item : items) result.push_back(item.path);
        return result;
    }
    [[nodiscard]] const Item& at(const std::string& path) const {
        for (const Item& item : items) {
            if (item.path == path) return item;
        }
        throw std::out_of_range{path};
    }
};

class Column {
public:
    explicit Column(std::string_view bytes) : bytes_{bytes} {}
    std::uint8_t byte() {
        const char first = bytes_.at(0);
        bytes_.remove_prefix(1);
        return static_cast<std::uint8_t>(first);
    }
    std::int64_t number() {
        std::uint64_t number = 0;
        for (unsigned shift = 0;; shift += 7) {
            const std::uint8_t next = byte();
            number |= static_cast<std::uint64_t>(next & 0x7F) << shift;
            if (next < 0x80) return static_cast<std::int64_t>(number);
        }
    }
    std::int64_t alternating() { return unfolded(number()); }
    static std::int64_t unfolded(std::int64_t number) { return number % 2 == 0 ? number / 2 : -(number + 1) / 2; }
    std::int64_t size() {
        const std::int64_t value = number();
        return value % 2 == 0 ? value / 2 * 4096 : value / 2;
    }
    std::string text() {
        std::string text{bytes_.substr(0, bytes_.find('\0'))};
        bytes_.remove_prefix(text.size() + 1);
        return text;
    }
    [[nodiscard]] bool isRead() const { return bytes_.empty(); }

private:
    std::string_view bytes_;
};

Block read(std::string_view data) {
    Column length{data.substr(0, 4)};
    std::size_t at = length.byte();
    for (unsigned shift = 8; shift < 32; shift += 8) at |= static_cast<std::size_t>(length.byte()) << shift;
    Block block;
    block.head = data.substr(4, at);
    at += 4;
    simdjson::dom::parser parser;
    const simdjson::dom::element head = parser.parse(block.head);
    std::vector<Column> columns;
    for (const char* name : {"what", "counts", "sizes", "dates", "names", "rests", "changes"}) {
        const std::size_t bytes = head["columns"][name].get_uint64().value();
        columns.emplace_back(data.substr(at, bytes));
        at += bytes;
    }
    EXPECT_EQ(at, data.size());
    Column& what = columns[0];
    Column& counts = columns[1];
    Column& sizes = columns[2];
    Column& dates = columns[3];
    Column& names = columns[4];
    Column& rests = columns[5];
    Column& changes = columns[6];
    std::vector<std::size_t> parents{0};
    std::int64_t minutes = 0;
    while (!what.isRead()) {
        Block::Item item;
        const int byte = what.byte();
        const std::size_t number = block.items.size();
        item.type = byte & 15;
        item.isFurtherLink = (byte & 16) != 0;
        if (item.type == 10 || item.type == 11)
            parents.insert(parents.end(), static_cast<std::size_t>(counts.number()), number);
        item.bytes = sizes.size();
        if (const std::int64_t step = dates.number(); step > 0) item.minutes = minutes += Column::unfolded(step - 1);
        item.path = (number == 0 ? "" : block.items.at(parents.at(number)).path + "/") + names.text();
        if ((byte & 32) != 0) {
            Block::Rest& rest = block.rests[item.path];
            rest.items = rests.number();
            rest.bytes = rests.size();
            for (std::int64_t left = rests.number(); left > 0; --left) {
                auto& sum = rest.files[static_cast<int>(rests.number())];
                sum.first = rests.number();
                sum.second = rests.size();
            }
            item.bytes += rest.bytes;
        }
        if (!changes.isRead()) item.change = changes.alternating();
        block.items.push_back(std::move(item));
    }
    for (std::size_t i = block.items.size(); i-- > 1;) {
        if (!block.items[i].isFurtherLink) block.items[parents[i]].bytes += block.items[i].bytes;
    }
    for (const Column& column : columns) EXPECT_TRUE(column.isRead());
    return block;
}

ReportFacts facts(const ScanSnapshot& snapshot) {
    return {.scan = summaryOf(snapshot), .host = "box", .version = "1", .madeAt = now};
}

Block blockOf(const ScanSnapshot& snapshot, std::optional<std::size_t> most = std::nullopt, const Text& path = "/r",
              std::optional<Growth> growth = std::nullopt) {
    const ReportTree tree{snapshot, path};
    ReportFacts said = facts(snapshot);
    said.growth = growth;
    said.growthTable = std::move(growth);
    return read(reportData(tree, reportSelection(tree, most, ReportAges{now}), said));
}

ScanSnapshot sample() {
    return aSnapshot("/r",
                     {folder("/r", 10'000'000 + 4096), folder("/r/b", 7'000'000), file("/r/b/y.mp4", 5'000'000, 100),
                      file("/r/b/x.jpg", 2'000'000, 2000), folder("/r/A.app", 3'000'000, FileKind::package),
                      file("/r/A.app/run", 2'999'999), file("/r/A.app/note.txt", 1)});
}

}  // namespace

TEST(ReportData, holdsEveryItemLevelByLevel) {
    const Block block = blockOf(sample());
    EXPECT_THAT(block.paths(),
                ElementsAre("/r", "/r/A.app", "/r/b", "/r/A.app/note.txt", "/r/A.app/run", "/r/b/x.jpg", "/r/b/y.mp4"));
    EXPECT_EQ(block.at("/r").bytes, 10'004'096);
    EXPECT_EQ(block.at("/r/b").bytes, 7'000'000);
    EXPECT_EQ(block.at("/r/A.app").type, 11);
    EXPECT_EQ(block.at("/r/b/y.mp4").type, static_cast<int>(ItemCategory::videos));
    EXPECT_EQ(block.at("/r/b/x.jpg").minutes, (now - 2000 * 86'400) / 60);
    EXPECT_TRUE(block.rests.empty());
}

TEST(ReportData, sumsUpWhatIsSmall) {
    const ScanSnapshot snapshot = sample();
    const Block block = blockOf(snapshot, 3);
    EXPECT_THAT(block.paths(), ElementsAre("/r", "/r/b", "/r/b/y.mp4"));
    EXPECT_EQ(block.at("/r").bytes, 10'004'096);
    EXPECT_EQ(block.rests.at("/r").items, 3);
    EXPECT_EQ(block.rests.at("/r").bytes, 3'000'000);
    EXPECT_EQ(block.rests.at("/r/b").bytes, 2'000'000);
    // In a package everything is part of an application, as a summary has it; both were changed within 30 days.
    const auto application = static_cast<int>(ItemCategory::applications) * static_cast<int>(ReportAges::count());
    EXPECT_EQ(block.rests.at("/r").files.at(application), std::pair(std::int64_t{2}, std::int64_t{3'000'000}));
}

TEST(ReportData, addsUpToTheSummaryHoweverFewItemsAreShown) {
    const ScanSnapshot snapshot = sample();
    for (std::size_t most = 1; most <= 8; ++most) {
        const Block block = blockOf(snapshot, most);
        EXPECT_EQ(block.items.size(), std::min<std::size_t>(most, 7));
        EXPECT_EQ(block.items.front().bytes, 10'004'096) << most;
        std::int64_t files = 0;
        for (const Block::Item& item : block.items) files += item.type < 10 ? 1 : 0;
        for (const auto& [path, rest] : block.rests) {
            for (const auto& [group, sum] : rest.files) files += sum.first;
        }
        EXPECT_EQ(files, Summary::of(snapshot, "/r", SummaryGrouping::type)->all.items) << most;
    }
}

TEST(ReportData, countsAFurtherLinkForNothingInTheFolderAbove) {
    const Block block = blockOf(aSnapshot("/r", {folder("/r", 5000), file("/r/a", 5000),
                                                 aRecord({.path = "/r/b", .allocated = 5000, .isDuplicate = true})}));
    EXPECT_EQ(block.at("/r").bytes, 5000);
    EXPECT_EQ(block.at("/r/b").bytes, 5000);
    EXPECT_TRUE(block.at("/r/b").isFurtherLink);
}

TEST(ReportData, takesAFolderInTheScanAndRecordsInAnyOrder) {
    const Block block =
        blockOf(aSnapshot("/r", {file("/r/f/sub/x", 10), file("/elsewhere/z", 9), folder("/r/f/sub", 10),
                                 folder("/r/f", 10), folder("/r", 30), file("/r/y", 20)}),
                std::nullopt, "/r/f");
    EXPECT_THAT(block.paths(), ElementsAre("/r/f", "/r/f/sub", "/r/f/sub/x"));
    EXPECT_EQ(block.items.front().bytes, 10);
}

TEST(ReportData, standsContradictions) {
    // A folder that says less than it holds, one that is its own parent, a date that is none, a name with a zero in it.
    const std::string zero{"/r/a\0b", 6};
    const Block block =
        blockOf(aSnapshot("/r", {folder("/r", 1), aRecord({.path = zero, .allocated = 100, .modified = std::nullopt}),
                                 aRecord({.path = "/r/own", .parent = "/r/own", .kind = FileKind::directory})}));
    EXPECT_EQ(block.at("/r").bytes, 100);
    EXPECT_EQ(block.at("/r/a\uFFFDb").minutes, std::nullopt);
    EXPECT_EQ(block.items.size(), 2U);
}

TEST(ReportData, tellsAChangeAtTheItemAndAllFoldersAbove) {
    const auto change = [](const char* path, std::int64_t before, std::int64_t after) {
        GrowthChange made;
        made.path = path;
        made.before = before;
        made.after = after;
        return made;
    };
    const ScanSnapshot snapshot = sample();
    const Generation scan = summaryOf(snapshot);
    const Block block = blockOf(snapshot, std::nullopt, "/r",
                                Growth{.since = scan,
                                       .until = scan,
                                       .path = "/r",
                                       .before = 0,
                                       .after = 0,
                                       .changes = {change("/r/b/y.mp4", 0, 700), change("/r/b/gone", 50, 0)}});
    EXPECT_EQ(block.at("/r/b/y.mp4").change, 700);
    EXPECT_EQ(block.at("/r/b").change, 650);
    EXPECT_EQ(block.at("/r").change, 650);
    EXPECT_EQ(block.at("/r/A.app").change, 0);
    EXPECT_THAT(block.head, HasSubstr(R"("path": "/r/b/gone", "kind": "file", "what": "grew")"));
}

TEST(ReportPage, holdsTheDataInDigitsAndNothingElse) {
    std::string data = "</script><script>alert(1)</script>";
    for (std::uint32_t i = 0; i < 300'000; ++i) data += static_cast<char>(i * i / 7);
    std::ostringstream out;
    int pieces = 0;
    writeReportPage(out, data, [&] { ++pieces; });
    EXPECT_GT(pieces, 1);
    const std::string page = out.str();
    const auto [before, after] = reportTemplate();
    ASSERT_TRUE(page.starts_with(before));
    ASSERT_TRUE(page.ends_with(after));
    const std::string text = page.substr(before.size(), page.size() - before.size() - after.size());
    static constexpr std::string_view digits =
        "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz!#$%[()*+-;]=,?@^_.{|}~";
    EXPECT_EQ(text.find_first_not_of(digits), std::string::npos);
    EXPECT_EQ(digits.find_first_of("<>&\"'`\\"), std::string::npos);
    std::string packed;
    for (std::size_t i = 0; i < text.size(); i += 5) {
        const std::size_t count = std::min<std::size_t>(5, text.size() - i);
        std::uint32_t number = 0;
        for (std::size_t k = 0; k < 5; ++k)
            number = number * 85 + (k < count ? static_cast<std::uint32_t>(digits.find(text[i + k])) : 84);
        for (std::size_t k = 0; k + 1 < count; ++k) packed += static_cast<char>(number >> (24 - 8 * k));
    }
    std::string unpacked(data.size() + 1, ' ');
    auto size = static_cast<uLongf>(unpacked.size());
    ASSERT_EQ(uncompress(reinterpret_cast<Bytef*>(unpacked.data()), &size,
                         reinterpret_cast<const Bytef*>(packed.data()), static_cast<uLong>(packed.size())),
              Z_OK);
    unpacked.resize(size);
    EXPECT_EQ(unpacked, data);
}

TEST(ReportPage, letsNothingInFromOutside) {
    const std::string page = std::string{reportTemplate().before} + std::string{reportTemplate().after};
    EXPECT_THAT(page, HasSubstr("default-src 'none'; script-src 'sha256-"));
    EXPECT_EQ(page.find("unsafe-inline"), std::string::npos);
    EXPECT_EQ(page.find("https://"), std::string::npos);
    EXPECT_EQ(page.find("innerHTML"), std::string::npos);
}

}  // namespace KestrelCLI
