#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "commands/SummaryHint.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Terminal.hpp"
#include "store/HistoryAccess.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"

#include "KestrelCore/Snapshot/Summary.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>

// What a folder is full of, told from the saved scan alone:
//
//        SIZE   SHARE                          FILES  TYPE
//     12.4 GB  65.4 %  █████████████           1,345  videos
//     6.60 GB  34.6 %  ███████                31,004  photos
//     19.0 GB   100 %                         32,349  all files
//
//     kestrel search --type videos --in ~/Media --sort size

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct SummaryOptions {
    SummaryGrouping grouping = SummaryGrouping::type;
    bool all = false;
    std::optional<std::size_t> limit;
};

/// As many as fit one look; only extensions come in larger numbers, and depths where somebody nests folders.
constexpr std::size_t usualLimit = 20;

/// The groups that are shown, and what all others have together.
struct ShownRows {
    std::vector<SummaryRow> rows;
    std::size_t others = 0;
    SummaryRow rest;
};

ShownRows shownRows(const Summary& summary, std::size_t limit) {
    ShownRows shown;
    for (const SummaryRow& row : summary.rows) {
        if (shown.rows.size() < limit) {
            shown.rows.push_back(row);
        } else {
            ++shown.others;
            shown.rest.items += row.items;
            shown.rest.bytes += row.bytes;
        }
    }
    return shown;
}

void writeJSON(const Session& session, const Generation& scan, const Summary& summary, const ShownRows& shown) {
    JSONOutput json{session.out};
    writeSnapshot(json, "snapshot", scan);
    json.member("path", summary.folder.view());
    json.member("by", rawValue(summary.grouping));
    json.beginArray("rows");
    for (const SummaryRow& row : shown.rows) {
        json.beginObject();
        json.member("name", row.name.view());
        json.member("items", row.items);
        json.member("bytes", row.bytes);
        json.endObject();
    }
    json.endArray();
    if (shown.others > 0) {
        json.beginObject("others");
        json.member("rows", shown.others);
        json.member("items", shown.rest.items);
        json.member("bytes", shown.rest.bytes);
        json.endObject();
    }
    json.member("totalItems", summary.all.items);
    json.member("totalBytes", summary.all.bytes);
    json.finish();
}

/// What a group is called; of no extension, too.
std::string shownName(const Session& session, const SummaryRow& row, SummaryGrouping grouping) {
    if (grouping == SummaryGrouping::extension && row.name.isEmpty()) return "(none)";
    return session.shown(row.name.view());
}

std::string_view titleOf(SummaryGrouping grouping) {
    switch (grouping) {
    case SummaryGrouping::type: return "TYPE";
    case SummaryGrouping::extension: return "EXTENSION";
    case SummaryGrouping::age: return "LAST CHANGED";
    case SummaryGrouping::depth: return "DEPTH";
    case SummaryGrouping::size: break;
    }
    return "SIZE OF A FILE";
}

std::string_view pluralOf(SummaryGrouping grouping) {
    switch (grouping) {
    case SummaryGrouping::type: return "types";
    case SummaryGrouping::extension: return "extensions";
    case SummaryGrouping::age: return "ages";
    case SummaryGrouping::depth: return "depths";
    case SummaryGrouping::size: break;
    }
    return "sizes";
}

void writeTable(const Session& session, const Summary& summary, const ShownRows& shown) {
    constexpr std::size_t usualBar = 20;
    const std::size_t barColumns =
        session.columns() == 0 ? usualBar : std::clamp<std::size_t>(session.columns() / 5, 4, 24);
    Table table{{{.title = "SIZE", .align = Table::Align::right},
                 {.title = "SHARE", .align = Table::Align::right},
                 {.title = ""},
                 {.title = "FILES", .align = Table::Align::right},
                 {.title = std::string{titleOf(summary.grouping)}, .shrinks = true}}};
    const auto add = [&](const SummaryRow& row, std::string name, Style style, bool hasBar) {
        const double fraction =
            summary.all.bytes > 0 ? static_cast<double>(row.bytes) / static_cast<double>(summary.all.bytes) : 0;
        table.addRow({{.text = session.size(row.bytes)},
                      {.text = ByteFormat::share(row.bytes, summary.all.bytes)},
                      {.text = hasBar ? bar(fraction, barColumns) : "", .style = Style::bar},
                      {.text = ByteFormat::count(row.items)},
                      {.text = std::move(name), .style = style}});
    };
    for (const SummaryRow& row : shown.rows) add(row, shownName(session, row, summary.grouping), Style::plain, true);
    if (shown.others > 0) {
        add(shown.rest,
            shown.others == 1 ? "1 other" : fmt::format("{} other {}", shown.others, pluralOf(summary.grouping)),
            Style::quiet, true);
    }
    add(summary.all, "all files", Style::heading, false);
    table.write(session);
}

/// The scan that a search must be told to look into; absent where it does so by itself.
std::optional<std::int64_t> scanToName(const Session& session, const Generation& scan) {
    if (session.options.store) return std::nullopt;
    const bool isNewest = !session.options.at && scansOfThisDisk(*openHistory(session)).front().number == scan.number;
    return isNewest ? std::nullopt : std::optional{scan.number};
}

ExitCode summarize(const Session& session, const SummaryOptions& options, const Operands& operands) {
    const NamedRecord named = NamedRecord::folder(session, operands);
    const InterruptionWatch watch;
    const auto summary =
        named.scan.summarize(named.record.path(), options.grouping, {.cancellation = watch.token(), .now = {}});
    Interruption::check();
    if (!summary) throw Interrupted{};
    // A script gets everything unless it sets a limit itself.
    const bool isWhole = options.all || session.options.json;
    const ShownRows shown = shownRows(*summary, options.limit.value_or(isWhole ? summary->rows.size() : usualLimit));
    if (session.options.json) {
        writeJSON(session, named.scan.summary(), *summary, shown);
        return ExitCode::done;
    }
    writeAge(session, named.scan.summary());
    if (summary->folder != named.scan.summary().scope.root.path())
        session.out << session.painted(Style::heading, session.shownPath(summary->folder.view())) << '\n';
    if (summary->rows.empty()) {
        session.out << "  (no files in it)\n";
        return ExitCode::done;
    }
    writeTable(session, *summary, shown);
    if (const auto search = searchForLargest(session, *summary, scanToName(session, named.scan.summary())))
        session.out << '\n' << session.painted(Style::quiet, *search) << '\n';
    return ExitCode::done;
}

}  // namespace

void addSummaryCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<SummaryOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "summary",
         .operands = "[PATH]",
         .description = "Shows what the files of a folder are: photos, videos, documents …, or how old, how large.",
         .examples = {"kestrel summary", "kestrel summary ~/Downloads --by age",
                      "kestrel summary --by extension --limit 10 /srv", "kestrel summary --by size --json"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return summarize(session, *options, operands); });
    std::map<std::string, SummaryGrouping> groupings;
    for (const SummaryGrouping each : allSummaryGroupings) groupings.emplace(rawValue(each), each);
    command
        .choice("--by", options->grouping, groupings,
                "Put files together by type (default), extension, age, depth below the folder, or size")
        .valueName("WHAT");
    const CommandOption all = command.flag("-a,--all", options->all, "Show every extension");
    command
        .value("--limit", options->limit,
               fmt::format("Show N and add up the rest (default: {}; with --json: all)", usualLimit))
        .valueName("N")
        .check(wholeNumber())
        .excludes(all);
}

}  // namespace KestrelCLI
