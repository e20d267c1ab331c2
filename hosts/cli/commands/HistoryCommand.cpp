#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
#include "store/HistoryAccess.hpp"
#include "store/MissingScan.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Scans are numbered over all roots, and what changes them names numbers. Everything that is named is looked up before
// anything is done: a mistyped number does nothing at all.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct HistoryOptions {
    std::vector<std::int64_t> forget;
    std::vector<std::int64_t> pin;
    std::vector<std::int64_t> unpin;
    bool checks = false;
    bool thins = false;
};

std::string_view nameOf(GenerationOrigin origin) {
    switch (origin) {
    case GenerationOrigin::scan: return "scan";
    case GenerationOrigin::import: return "import";
    case GenerationOrigin::removal: break;
    }
    return "removal";
}

/// What there is to know of a scan beside its figures.
std::string remarks(const Session& session, const Generation& generation) {
    std::vector<std::string> words;
    if (generation.isPinned) words.emplace_back("pinned");
    if (!generation.isComplete) words.emplace_back("incomplete");
    if (generation.origin == GenerationOrigin::import) words.emplace_back("imported");
    if (generation.origin == GenerationOrigin::removal) words.emplace_back("without what was removed");
    if (generation.crossesMounts) words.emplace_back("other file systems too");
    if (!generation.leftOut.empty()) {
        // All of it stands above what is shown of the scan, and in the JSON.
        const std::size_t more = generation.leftOut.size() - 1;
        words.push_back(fmt::format("left out: {}{}", session.shown(generation.leftOut.front().view()),
                                    more == 0 ? "" : fmt::format(" and {} more", more)));
    }
    return fmt::format("{}", fmt::join(words, ", "));
}

/// What stands beside the figures that are always there.
struct ShownColumns {
    bool time = true;
    bool age = true;
    bool stored = true;
};

Table scanTable(const Session& session, const std::vector<const Generation*>& scans, const ShownColumns& shows) {
    std::vector<Table::Column> columns{{.title = "No.", .align = Table::Align::right}};
    if (shows.time) columns.push_back({.title = "Scanned"});
    if (shows.age) columns.push_back({.title = "Age"});
    columns.push_back({.title = "Items", .align = Table::Align::right});
    columns.push_back({.title = "Size", .align = Table::Align::right});
    if (shows.stored) columns.push_back({.title = "Kept in", .align = Table::Align::right});
    columns.push_back({.title = "", .shrinks = true});
    Table table{columns};
    const Date now = Date::now();
    for (const Generation* scan : scans) {
        std::vector<Table::Cell> cells{{.text = std::to_string(scan->number)}};
        if (shows.time) cells.push_back({.text = localTime(scan->completedAt)});
        if (shows.age) cells.push_back({.text = age(scan->completedAt, now), .style = Style::quiet});
        // The root is a record, but not an item in it.
        cells.push_back({.text = ByteFormat::count(std::max<std::int64_t>(0, scan->records - 1))});
        cells.push_back({.text = session.size(scan->totalAllocatedBytes)});
        if (shows.stored) cells.push_back({.text = session.size(scan->storedBytes), .style = Style::quiet});
        cells.push_back({.text = remarks(session, *scan), .style = Style::quiet});
        table.addRow(std::move(cells));
    }
    return table;
}

/// One line a scan; where the terminal is narrow, without what can be done without.
void showScans(const Session& session, const std::vector<const Generation*>& scans) {
    for (const ShownColumns& shows :
         {ShownColumns{}, ShownColumns{.age = false}, ShownColumns{.age = false, .stored = false},
          ShownColumns{.time = false, .stored = false}}) {
        const Table table = scanTable(session, scans, shows);
        const bool isLast = !shows.time;
        if (!isLast && session.columns() > 0 && table.leastWidth() > session.columns()) continue;
        return table.write(session);
    }
}

/// What stands above the scans of one folder of this disk, or of one import.
std::string titleOf(const Session& session, const Generation& scan) {
    const Text root = scan.scope.root.path();
    if (!isImported(scan)) return session.shownPath(root.view());
    return session.shown(fmt::format("{}: {}", importRemark(scan), root.view()));
}

/// A table for each root; the root that was scanned last comes first.
void show(const Session& session, const std::vector<Generation>& generations) {
    if (generations.empty()) {
        session.out << noScanYet(session) << '\n';
        return;
    }
    std::vector<std::pair<std::string, std::vector<const Generation*>>> roots;
    std::int64_t bytes = 0;
    for (const Generation& each : generations) {
        const std::string root = titleOf(session, each);
        auto found = std::ranges::find(roots, root, [](const auto& entry) { return entry.first; });
        if (found == roots.end()) found = roots.insert(roots.end(), {root, {}});
        found->second.push_back(&each);
        bytes += each.storedBytes;
    }
    for (const auto& [root, scans] : roots) {
        session.out << session.painted(Style::heading, root) << '\n';
        showScans(session, scans);
        session.out << '\n';
    }
    session.out << fmt::format("{} {} in {}\n", generations.size(), generations.size() == 1 ? "scan" : "scans",
                               session.size(bytes));
}

void writeGenerations(JSONOutput& json, const std::vector<Generation>& generations) {
    json.beginArray("generations");
    for (const Generation& each : generations) {
        json.beginObject();
        json.member("number", each.number);
        writeSummaryMembers(json, each);
        json.member("storedBytes", each.storedBytes);
        json.member("isPinned", each.isPinned);
        json.member("origin", nameOf(each.origin));
        if (each.source.name) json.member("sourceName", each.source.name->view());
        if (each.source.host) json.member("sourceHost", each.source.host->view());
        json.endObject();
    }
    json.endArray();
}

void writeNumbers(JSONOutput& json, std::string_view key, const std::vector<std::int64_t>& numbers) {
    json.beginArray(key);
    for (const std::int64_t number : numbers) json.element(number);
    json.endArray();
}

std::string listed(const std::vector<std::int64_t>& numbers) {
    return fmt::format("{} {}", numbers.size() == 1 ? "Scan" : "Scans", fmt::join(numbers, ", "));
}

ExitCode history(const Session& session, const HistoryOptions& options) {
    const auto history = openHistory(session);
    std::vector<Generation> generations = history->generations();
    for (const auto* numbers : {&options.forget, &options.pin, &options.unpin}) {
        for (const std::int64_t number : *numbers) {
            if (std::ranges::find(generations, number, &Generation::number) == generations.end())
                throw UsageError{
                    fmt::format("There is no scan {} in the history. kestrel history lists them.", number)};
        }
    }
    Interruption::check();
    for (const std::int64_t number : options.pin) history->setPinned(number, true);
    for (const std::int64_t number : options.unpin) history->setPinned(number, false);
    if (!options.forget.empty()) history->forget(options.forget);
    std::vector<std::int64_t> gone = options.forget;
    if (options.thins) {
        const std::vector<std::int64_t> thinned = history->thin(session.settings.thinning(), Date::now());
        gone.insert(gone.end(), thinned.begin(), thinned.end());
    }
    const std::vector<std::int64_t> damaged = options.checks ? history->check() : std::vector<std::int64_t>{};
    generations = history->generations();
    if (session.options.json) {
        JSONOutput json{session.out};
        writeGenerations(json, generations);
        if (!options.forget.empty() || options.thins) writeNumbers(json, "forgotten", gone);
        if (options.checks) writeNumbers(json, "damaged", damaged);
        json.finish();
    } else {
        if (!gone.empty()) session.out << listed(gone) << (gone.size() == 1 ? " is" : " are") << " forgotten.\n";
        if (options.thins && gone.size() == options.forget.size()) session.out << "Nothing had to be thinned out.\n";
        if (options.checks && damaged.empty()) session.out << "Every scan reads as it was saved.\n";
        if (!options.checks && !options.thins && options.forget.empty()) show(session, generations);
    }
    if (damaged.empty()) return ExitCode::done;
    session.say(fmt::format("{} can't be read any more. --forget takes such a scan out; the others are as they were.",
                            listed(damaged)));
    return ExitCode::failed;
}

}  // namespace

void addHistoryCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<HistoryOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "history",
                    .operands = "",
                    .description = "Lists the saved scans, or takes some of them out.",
                    .examples = {"kestrel history", "kestrel history --forget 3", "kestrel history --pin 5",
                                 "kestrel list --at 3 ~/Downloads"}},
                   [&session, options](const Operands&) { return history(session, *options); });
    const auto numbers = [&](const char* name, std::vector<std::int64_t>& into, const char* help) {
        // One number each time, so that the next argument is not taken for another.
        command.value(name, into, help)
            .valueName("N")
            .oneEachTime()
            .check(wholeNumber())
            .check(takes(ValueKind::scanNumber));
    };
    numbers("--forget", options->forget, "Take scan N out; may be given several times");
    numbers("--pin", options->pin, "Keep scan N whatever its age");
    numbers("--unpin", options->unpin, "Let scan N go when its time comes");
    command.flag("--check", options->checks, "Read everything and tell what is damaged");
    command.flag("--thin", options->thins,
                 "Take out what need not be kept: all of a week are, then one a day for a month, one a week for a "
                 "year, at most 2 GB; the configuration file may say otherwise");
}

}  // namespace KestrelCLI
