#include "fleet/FleetFolders.hpp"

#include "KestrelCore/Base/Path.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <tuple>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// A folder with so much of it (of a hundred) in one folder in it says no more than that one.
constexpr double nearlyAll = 95;

/// More rows than are wanted, since some will be left out; each has at most as many above it as its path is deep.
std::int64_t rowsToFetch(std::int64_t most) { return std::min<std::int64_t>(most, 1'000'000) * 10 + 500; }

using Place = std::tuple<std::string, std::string, std::string>;

/// The first `most` without those of which another one, directly in them, has nearly all of what `amount` counts.
template <typename Row, typename Amount>
std::vector<Row> telling(std::vector<Row> rows, std::int64_t most, const Amount& amount) {
    std::map<Place, double> largestInside;
    for (const Row& row : rows) {
        if (row.path == "/") continue;
        double& largest = largestInside[{row.host, row.volume, Path::deletingLastComponent(Text{row.path}).string()}];
        largest = std::max(largest, amount(row));
    }
    std::vector<Row> result;
    for (Row& row : rows) {
        if (static_cast<std::int64_t>(result.size()) >= most) break;
        const auto inside = largestInside.find({row.host, row.volume, row.path});
        if (inside != largestInside.end() && inside->second * 100 >= amount(row) * nearlyAll) continue;
        result.push_back(std::move(row));
    }
    return result;
}

}  // namespace

std::vector<FleetFolder> largestFolders(Server& server, const FleetSelection& selection, std::int64_t most) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    std::vector<FleetFolder> folders;
    server.query<std::string, std::string, std::string, std::uint64_t, std::int64_t>(
        fmt::format("SELECT MARK, host, volume, path, items, bytes FROM largest_folders WHERE bytes > 0{} ORDER BY "
                    "bytes DESC, host, volume, path LIMIT {}",
                    selected, rowsToFetch(most)),
        texts, [&](std::string host, std::string volume, std::string path, std::uint64_t items, std::int64_t bytes) {
            folders.push_back({std::move(host), std::move(volume), std::move(path), items, bytes});
        });
    return telling(std::move(folders), most, [](const FleetFolder& row) { return static_cast<double>(row.bytes); });
}

std::vector<FleetChange> changedFolders(Server& server, const FleetSelection& selection, std::int64_t most) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    std::vector<FleetChange> changes;
    server.query<std::string, std::string, std::string, std::int64_t, std::int64_t, std::uint8_t, std::uint8_t>(
        fmt::format("SELECT MARK, host, volume, path, bytes_before, bytes_now, existed_before, exists_now FROM growth "
                    "WHERE bytes_change != 0{} ORDER BY abs(bytes_change) DESC, host, volume, path LIMIT {}",
                    selected, rowsToFetch(most)),
        texts,
        [&](std::string host, std::string volume, std::string path, std::int64_t before, std::int64_t after,
            std::uint8_t existedBefore, std::uint8_t existsNow) {
            changes.push_back({.host = std::move(host),
                               .volume = std::move(volume),
                               .path = std::move(path),
                               .before = before,
                               .after = after,
                               .existedBefore = existedBefore != 0,
                               .existsNow = existsNow != 0});
        });
    return telling(std::move(changes), most,
                   [](const FleetChange& row) { return std::abs(static_cast<double>(row.change())); });
}

std::vector<FleetVolume> publishedVolumes(Server& server, const FleetSelection& selection) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    std::vector<FleetVolume> volumes;
    server.query<std::string, std::string, std::uint64_t, std::int64_t, std::int64_t, std::uint64_t, std::uint32_t,
                 std::uint32_t, std::uint8_t, std::uint8_t, std::uint8_t>(
        fmt::format("SELECT MARK, host, volume, count() AS parts, toInt64(sum(items) - count()) AS all_items, "
                    "sum(bytes) AS all_bytes, sum(issues) AS all_issues, min(completed) AS oldest, max(published) AS "
                    "newest, min(complete) AS whole, min(has_files) AS filed, max(has_files) AS some_filed FROM "
                    "current WHERE 1{} GROUP BY host, volume ORDER BY host, volume",
                    selected),
        texts,
        [&](std::string host, std::string volume, std::uint64_t parts, std::int64_t items, std::int64_t bytes,
            std::uint64_t issues, std::uint32_t oldest, std::uint32_t newest, std::uint8_t whole, std::uint8_t filed,
            std::uint8_t someFiled) {
            volumes.push_back({.host = std::move(host),
                               .volume = std::move(volume),
                               .parts = parts,
                               .items = items,
                               .bytes = bytes,
                               .issues = issues,
                               .oldestScan = oldest,
                               .lastPublished = newest,
                               .isComplete = whole != 0,
                               .hasFiles = filed != 0,
                               .hasSomeFiles = someFiled != 0});
        });
    return volumes;
}

FleetCoverage coverageOf(Server& server, const FleetSelection& selection) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    FleetCoverage coverage;
    server.query<std::uint64_t, std::uint64_t, std::uint64_t>(
        fmt::format(
            "SELECT MARK, count() AS lines, sum(complete = 0) AS unfinished, sum(has_files = 0) AS unfiled FROM "
            "current WHERE 1{}",
            selected),
        texts, [&](std::uint64_t lines, std::uint64_t unfinished, std::uint64_t unfiled) {
            coverage.publications = lines;
            coverage.unfinished = unfinished;
            coverage.withoutFiles = unfiled;
        });
    return coverage;
}

std::uint64_t earlierScans(Server& server, const FleetSelection& selection) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    std::uint64_t count = 0;
    server.query<std::uint64_t>(fmt::format("SELECT MARK, count() AS lines FROM previous WHERE 1{}", selected), texts,
                                [&](std::uint64_t lines) { count = lines; });
    return count;
}

}  // namespace KestrelCLI
