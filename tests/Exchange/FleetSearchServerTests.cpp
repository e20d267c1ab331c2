#include "KestrelCore/Exchange/FleetSearch.hpp"
#include "KestrelCore/Exchange/PublicationRows.hpp"
#include "Snapshot/Search/SearchGenerators.hpp"
#include "Snapshot/Search/SearchRecords.hpp"
#include "fleet/Server.hpp"
#include "support/Vectors.hpp"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

// What a real server answers to translated searches against what the library's search finds in the same snapshot. The
// server's address comes from outside (fleet.search starts one); without one these tests are skipped.

namespace KestrelCore::testing {

namespace {

/// A server with the tables, to which snapshots are published one after the other.
class FleetServer {
public:
    static const char* address() { return std::getenv("KESTREL_FLEET_TEST_URL"); }

    FleetServer() : server_{{.address = KestrelCLI::ServerAddress::parse(address())}} {}

    void publish(const ScanSnapshot& snapshot) {
        // Far from each other, so that publications of several runs in one database stay apart.
        static std::uint64_t next = std::uint64_t{std::random_device{}()} << 20;
        const PublicationRows rows{snapshot, {.host = "h", .volume = "v", .publication = publication_ = ++next}};
        (void)rows.files(
            [&](std::string&& batch, std::int64_t) {
                server_.insert(fmt::format("INSERT INTO files ({}) FORMAT RowBinary", PublicationRows::fileColumns()),
                               batch, KestrelCLI::Server::Coding::plain);
            },
            {});
    }

    /// Why the server's answer is not that of the snapshot; empty where it is.
    std::string difference(const ScanSnapshot& snapshot, const SearchQuery& query, const SearchFilter& filter,
                           Date now) {
        const FleetSearch search{query, filter, now};
        std::vector<FleetItem> items;
        std::vector<std::pair<std::string, std::int64_t>> scores;
        std::vector<std::string> sure;
        server_.query<std::string, std::string, std::string, std::string, std::string, std::string, std::string,
                      std::int8_t, std::int64_t, std::int64_t, std::int64_t, double, std::uint64_t, std::uint64_t,
                      std::uint16_t, std::int8_t, std::uint8_t, std::int64_t, std::uint8_t>(
            fmt::format(
                "SELECT MARK, {}, toUInt8({}) AS sure, toInt64({}) AS points, text_class FROM files PREWHERE {} "
                "WHERE publication = {} AND {}",
                FleetRow::columns, search.certain(), search.score(), search.coarse(), publication_, search.possible()),
            {},
            [&](std::string host, std::string volume, std::string dir, std::string name, std::string label,
                std::string parent, std::string extension, std::int8_t kind, std::int64_t size, std::int64_t allocated,
                std::int64_t display, double modified, std::uint64_t device, std::uint64_t inode, std::uint16_t flags,
                std::int8_t risk, std::uint8_t isSure, std::int64_t points, std::uint8_t textClass) {
                FleetRow row{host, volume,    dir,     name,     label,  parent, extension, kind,
                             size, allocated, display, modified, device, inode,  flags,     risk};
                items.push_back(row.item());
                const FileRecord& record = items.back().record;
                const std::string shown = fmt::format("{} ({})", record.path().view(), record.name().view());
                if (isSure != 0) sure.push_back(shown);
                if (textClass == 0 && record.path().isASCII()) scores.emplace_back(shown, points);
            });

        const auto answer =
            snapshot.search(query, 1'000'000,
                            {.cancellation = {}, .now = now, .threads = 1, .filter = filter, .measuresMatches = false});
        std::vector<std::string> expected;
        std::vector<std::pair<std::string, std::int64_t>> expectedScores;
        for (const ScoredRecord& one : answer->results) {
            expected.push_back(fmt::format("{} ({})", one.record.path().view(), one.record.name().view()));
            expectedScores.emplace_back(expected.back(), one.score);
        }
        std::vector<std::string> found;
        for (const FleetMatch& match : search.answering(items, SearchOrder::score))
            found.push_back(fmt::format("{} ({})", match.item.record.path().view(), match.item.record.name().view()));

        std::sort(expected.begin(), expected.end());
        std::sort(found.begin(), found.end());
        std::sort(expectedScores.begin(), expectedScores.end());
        std::string difference;
        const auto tell = [&](const char* what, const std::string& path) {
            difference += fmt::format("{} “{}” for “{}”\n", what, path, query.text.view());
        };
        if (expected != found) {
            for (const std::string& path : expected)
                if (!std::binary_search(found.begin(), found.end(), path)) tell("missing", path);
            for (const std::string& path : found)
                if (!std::binary_search(expected.begin(), expected.end(), path)) tell("too much", path);
            if (difference.empty()) tell("other numbers of items", "");
        }
        for (const std::string& path : sure)
            if (!std::binary_search(expected.begin(), expected.end(), path)) tell("wrongly sure of", path);
        for (const auto& scored : scores) {
            const bool isExpected = std::binary_search(expected.begin(), expected.end(), scored.first);
            if (isExpected && !std::binary_search(expectedScores.begin(), expectedScores.end(), scored))
                tell(fmt::format("score {} of", scored.second).c_str(), scored.first);
        }
        if (search.isCertain() && sure.size() != items.size()) difference += "certain, and yet not\n";
        return difference;
    }

private:
    KestrelCLI::Server server_;
    std::uint64_t publication_ = 0;
};

SearchFilter aFilter(const std::vector<SearchedRecord>& records) {
    SearchFilter filter;
    const auto oneOf = [](int n) { return *rc::gen::inRange(0, n) == 0; };
    const auto aPlace = [&] {
        const Text path = (*rc::gen::elementOf(records)).path;
        return oneOf(3) ? path : oneOf(8) ? Text{"/"} : Path::deletingLastComponent(path);
    };
    if (oneOf(6)) filter.minimumBytes = 4096;
    if (oneOf(6)) filter.maximumBytes = 4096;
    if (oneOf(6)) filter.modifiedAfter = searchTime.addingSeconds(-40'000'000);
    if (oneOf(6)) filter.modifiedBefore = searchTime.addingSeconds(-1'000'000);
    if (oneOf(6)) filter.kinds = {*rc::gen::elementOf(std::vector{FileKind::file, FileKind::directory})};
    if (oneOf(6))
        filter.categories = {*rc::gen::elementOf(std::vector{ItemCategory::photos, ItemCategory::documents,
                                                             ItemCategory::applications, ItemCategory::other})};
    if (oneOf(8)) filter.extensions = {"pdf", "", "é"};
    if (oneOf(4)) filter.inFolders = {aPlace()};
    if (oneOf(6)) filter.wordsInPath = {"É", "report"};
    if (oneOf(4)) filter.notInFolders = {aPlace()};
    if (oneOf(6)) filter.wordsNotInPath = {"a"};
    return filter;
}

}  // namespace

RC_GTEST_PROP(FleetSearchServer, answersMadeSnapshotsAsTheLibraryDoes, ()) {
    if (FleetServer::address() == nullptr) GTEST_SKIP() << "no server";
    static FleetServer server;
    std::vector<std::string> folders = {"", "/Users/anna", "/a", "/a/b", "/Users/été", "/x/Développeur", "/A"};
    std::vector<SearchedRecord> searched;
    const int count = *rc::gen::inRange(1, 80);
    for (int i = 0; i < count; ++i) searched.push_back(aSearchedRecord(folders));
    const ScanSnapshot snapshot = snapshotOf(searched);
    server.publish(snapshot);
    for (int i = 0; i < 20; ++i) {
        const SearchQuery query = aSearchQuery(searched);
        const SearchFilter filter = i % 2 == 0 ? SearchFilter{} : aFilter(searched);
        const std::string difference = server.difference(snapshot, query, filter, searchTime);
        RC_LOG() << difference;
        RC_ASSERT(difference.empty());
    }
}

TEST(FleetSearchServer, answersTheRecordedSnapshotsAsTheLibraryDoes) {
    if (FleetServer::address() == nullptr) GTEST_SKIP() << "no server";
    FleetServer server;
    int asked = 0;
    for (const char* const folder : {"fixed", "random"}) {
        const VectorFile file{std::filesystem::path{KESTREL_TEST_DATA} / "vectors" / folder / "snapshots.json"};
        int snapshots = 0;
        for (const simdjson::dom::element row : file.rows()) {
            const ScanSnapshot snapshot = ScanSnapshot::decodingJSON(std::string_view{row["payload"]});
            if (!snapshot.isConsistent() || ++snapshots > 12) continue;
            server.publish(snapshot);
            int searches = 0;
            for (const simdjson::dom::element search : simdjson::dom::array{row["searches"]}) {
                if (++searches > 25) break;
                SearchQuery query{textOf(search["text"]), std::int64_t{search["minimumBytes"]}};
                for (const simdjson::dom::element kind : simdjson::dom::array{search["kinds"]})
                    query.kinds.insert(fromRawValue<FileKind>(std::int64_t{kind}).value());
                if (!search["modifiedAfter"].is_null()) query.modifiedAfter = Date{double{search["modifiedAfter"]}};
                EXPECT_EQ(server.difference(snapshot, query, {}, searchTime), "");
                ++asked;
            }
        }
    }
    EXPECT_GT(asked, 100);
}

}  // namespace KestrelCore::testing
