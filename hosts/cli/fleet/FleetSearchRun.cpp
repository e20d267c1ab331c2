#include "fleet/FleetSearchRun.hpp"

#include "output/ByteFormat.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Rows that are fetched to be judged here, or to be ordered by name, which a store does otherwise.
constexpr std::int64_t mostFetched = 100'000;

/// The order of the library as near as a store comes to it, by the columns of the question below.
std::string_view sqlOrder(SearchOrder order) {
    switch (order) {
    case SearchOrder::score: return "points DESC, display DESC, lowered";
    case SearchOrder::size: return "display DESC, points DESC, lowered";
    case SearchOrder::date: return "dated DESC, points DESC, display DESC, lowered";
    case SearchOrder::name: break;
    }
    return "lowered";
}

}  // namespace

FleetFindings searchFleet(Server& server, const FleetSearch& search, const FleetSelection& selection, SearchOrder order,
                          std::int64_t limit) {
    std::vector<std::string> texts;
    const std::string selected = selection.condition(texts);
    // What is computed is a column with a name of its own, since servers that share the rows each call a nameless one
    // otherwise. The first condition is cheap for every row; the second makes sure of what it may mistake, of the few
    // that are left.
    const std::string from =
        fmt::format("FROM files PREWHERE publication GLOBAL IN (SELECT publication FROM current) AND {} WHERE (host, "
                    "volume, publication) GLOBAL IN (SELECT host, volume, publication FROM current) AND {}{}",
                    search.coarse(), search.possible(), selected);
    const std::string isSure = fmt::format("toUInt8({})", search.certain());

    std::int64_t sure = 0;
    std::int64_t possible = 0;
    server.query<std::uint64_t, std::uint64_t>(
        fmt::format("SELECT MARK, sum(sure) AS certainly, count() AS possible FROM (SELECT {} AS sure {})", isSure,
                    from),
        texts, [&](std::uint64_t certainly, std::uint64_t all) {
            sure = static_cast<std::int64_t>(certainly);
            possible = static_cast<std::int64_t>(all);
        });
    const std::int64_t unsure = possible - sure;
    if (unsure > mostFetched)
        throw std::runtime_error{fmt::format("The search leaves {} to look at one by one, more than go through: a "
                                             "longer word, another one or --host narrows it.",
                                             ByteFormat::items(unsure))};
    const std::int64_t best = order == SearchOrder::name && limit > 0 ? std::max(limit, mostFetched) : limit;
    const std::int64_t fetched = unsure + std::min(sure, best);
    FleetFindings findings{.matches = sure, .results = {}};
    if (fetched == 0) return findings;

    std::vector<FleetItem> items;
    std::set<UUID> toJudge;
    server.query<std::string, std::string, std::string, std::string, std::string, std::string, std::string, std::int8_t,
                 std::int64_t, std::int64_t, std::int64_t, double, std::uint64_t, std::uint64_t, std::uint16_t,
                 std::int8_t, std::uint8_t, std::int64_t, double, std::string>(
        fmt::format("SELECT MARK, {}, {} AS sure, toInt64({}) AS points, if(bitAnd(flags, 16) != 0, modified, "
                    "-63114076800.) AS dated, lower(name) AS lowered {} ORDER BY sure, {}, host, volume, dir LIMIT {}",
                    FleetRow::columns, isSure, search.score(), from, sqlOrder(order), fetched),
        texts,
        [&](std::string host, std::string volume, std::string dir, std::string name, std::string label,
            std::string parent, std::string extension, std::int8_t kind, std::int64_t size, std::int64_t allocated,
            std::int64_t display, double modified, std::uint64_t device, std::uint64_t inode, std::uint16_t flags,
            std::int8_t risk, std::uint8_t isCertain, std::int64_t, double, const std::string&) {
            const FleetRow row{.host = std::move(host),
                               .volume = std::move(volume),
                               .dir = std::move(dir),
                               .name = std::move(name),
                               .label = std::move(label),
                               .parent = std::move(parent),
                               .extension = std::move(extension),
                               .kind = kind,
                               .size = size,
                               .allocated = allocated,
                               .display = display,
                               .modified = modified,
                               .device = device,
                               .inode = inode,
                               .flags = flags,
                               .risk = risk};
            items.push_back(row.item());
            if (isCertain == 0) toJudge.insert(items.back().record.id());
        });
    findings.results = search.answering(std::move(items), order);
    findings.matches += std::ranges::count_if(
        findings.results, [&](const FleetMatch& match) { return toJudge.contains(match.item.record.id()); });
    if (static_cast<std::int64_t>(findings.results.size()) > limit)
        findings.results.erase(findings.results.begin() + static_cast<std::ptrdiff_t>(limit), findings.results.end());
    return findings;
}

}  // namespace KestrelCLI
