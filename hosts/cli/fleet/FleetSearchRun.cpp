#include "fleet/FleetSearchRun.hpp"

#include "output/ByteFormat.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

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

void shorten(FleetFindings& findings, std::int64_t limit) {
    if (std::ssize(findings.results) > limit)
        findings.results.erase(findings.results.begin() + static_cast<std::ptrdiff_t>(limit), findings.results.end());
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

    std::vector<FleetItem> items;
    std::set<UUID> toJudge;
    // The last part of the inner question says which rows come.
    const auto fetch = [&](const std::string& more, const std::string& last) {
        server.query<std::string, std::string, std::string, std::string, std::string, std::string, std::string,
                     std::int8_t, std::int64_t, std::int64_t, std::int64_t, double, std::uint64_t, std::uint64_t,
                     std::uint16_t, std::int8_t, std::uint8_t>(
            fmt::format("SELECT MARK, {0}, sure FROM (SELECT {0}, {1} AS sure{2} {3} {4})", FleetRow::columns, isSure,
                        more, from, last),
            texts,
            [&](std::string host, std::string volume, std::string dir, std::string name, std::string label,
                std::string parent, std::string extension, std::int8_t kind, std::int64_t size, std::int64_t allocated,
                std::int64_t display, double modified, std::uint64_t device, std::uint64_t inode, std::uint16_t flags,
                std::int8_t risk, std::uint8_t isCertain) {
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
    };
    FleetFindings findings;
    const auto judge = [&] {
        // Rows come as the server has them at hand.
        std::ranges::sort(items, {}, [](const FleetItem& item) {
            return std::tuple{std::string_view{item.host}, std::string_view{item.volume}, item.record.path().view()};
        });
        findings.results = search.answering(std::move(items), order);
    };

    // Most searches find few rows. Then one pass over all of them is enough: what answers is counted and put in order
    // here. Where there are more, the server stops at that and the pass is given up.
    fetch("", fmt::format("LIMIT {}", mostFetched + 1));
    if (std::ssize(items) <= mostFetched) {
        judge();
        findings.matches = std::ssize(findings.results);
        shorten(findings, limit);
        return findings;
    }
    items.clear();
    toJudge.clear();

    std::int64_t possible = 0;
    server.query<std::uint64_t, std::uint64_t>(
        fmt::format("SELECT MARK, sum(sure) AS certainly, count() AS possible FROM (SELECT {} AS sure {})", isSure,
                    from),
        texts, [&](std::uint64_t certainly, std::uint64_t all) {
            findings.matches = static_cast<std::int64_t>(certainly);
            possible = static_cast<std::int64_t>(all);
        });
    const std::int64_t unsure = possible - findings.matches;
    if (unsure > mostFetched)
        throw std::runtime_error{fmt::format("The search leaves {} to look at one by one, more than go through: a "
                                             "longer word, another one or --host narrows it.",
                                             ByteFormat::items(unsure))};
    const std::int64_t best = order == SearchOrder::name && limit > 0 ? std::max(limit, mostFetched) : limit;
    const std::int64_t fetched = unsure + std::min(findings.matches, best);
    if (fetched == 0) return findings;
    fetch(fmt::format(", toInt64({}) AS points, if(bitAnd(flags, 16) != 0, modified, -63114076800.) AS dated, "
                      "lower(name) AS lowered",
                      search.score()),
          fmt::format("ORDER BY sure, {}, host, volume, dir LIMIT {}", sqlOrder(order), fetched));
    judge();
    findings.matches += std::ranges::count_if(
        findings.results, [&](const FleetMatch& match) { return toJudge.contains(match.item.record.id()); });
    shorten(findings, limit);
    return findings;
}

}  // namespace KestrelCLI
