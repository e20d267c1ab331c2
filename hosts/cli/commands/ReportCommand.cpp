#include "commands/Commands.hpp"

#include "commands/FolderFiles.hpp"
#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/WordWrap.hpp"
#include "report/ReportData.hpp"
#include "report/ReportPage.hpp"
#include "report/ReportSelection.hpp"
#include "report/ReportTree.hpp"
#include "store/HistoryAccess.hpp"
#include "store/SavedScan.hpp"
#include "store/WholeFile.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

// A folder of a saved scan as one file that any browser shows, without a network and without this program. What is in
// the page is in hosts/report; here it is decided what goes into one, and where to.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct ReportOptions {
    std::optional<std::string> output;
    bool all = false;
    std::optional<std::string> since;
    bool force = false;
};

/// As many lines of growth as somebody reads.
constexpr std::size_t mostChanges = 100;

std::vector<Generation> only(const std::vector<Generation>& generations, const auto& matches) {
    std::vector<Generation> result;
    std::ranges::copy_if(generations, std::back_inserter(result), matches);
    return result;
}

/// The scan before `scan` that `since` means; empty where there is none. Throws `UsageError` for what means no scan at
/// all.
std::optional<Generation> earlierScan(const Generation& scan, const std::string& since,
                                      const std::vector<Generation>& all) {
    const auto isEarlier = [&](const Generation& each) { return each.number < scan.number; };
    const auto imported = only(importsNamed(since, all), isEarlier);
    if (!imported.empty()) return imported.front();
    if (!importsNamed(since, all).empty()) return std::nullopt;
    const When when = whenOption(since, Date::now());
    // Another disk has other things under the same paths.
    const auto earlier = only(all, [&](const Generation& each) {
        return isEarlier(each) && isImported(each) == isImported(scan) && each.source.name == scan.source.name;
    });
    // A point in time means a scan of the same folder where there is one.
    const auto alike =
        only(earlier, [&](const Generation& each) { return each.scope.root.path() == scan.scope.root.path(); });
    const Generation* found = std::holds_alternative<Date>(when) ? chosen(alike, when) : nullptr;
    if (found == nullptr) found = chosen(earlier, when);
    return found == nullptr ? std::nullopt : std::optional{*found};
}

/// How the folder differs from what the scan that --since means had.
void addGrowth(ReportFacts& facts, const Session& session, const std::string& since, const Text& path) {
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const Generation& scan = facts.scan;
    const auto found = earlierScan(scan, since, history->generations());
    if (!found) {
        throw std::runtime_error{
            fmt::format("--since {} means no scan before number {}, which the report is of; kestrel history lists all.",
                        since, scan.number)};
    }
    warnOfIncomplete(session, *found);
    facts.growth = history->growth(found->number, scan.number, path);
    Interruption::check();
    if (!facts.growth) {
        throw PathError{fmt::format("Scan {}, of {}, knows nothing of {}.", found->number,
                                    found->scope.root.path().view(), path.view()),
                        path.string()};
    }
    facts.growthTable = history->growth(found->number, scan.number, path, {.most = mostChanges});
    Interruption::check();
}

void tell(const Session& session, const std::string& file, const ReportTree& tree, std::size_t shown) {
    const auto counted = [](std::size_t number) { return ByteFormat::count(static_cast<std::int64_t>(number)); };
    const std::size_t items = tree.nodes().size();
    std::string what = fmt::format("{} item{}", counted(items), items == 1 ? "" : "s");
    if (shown < items)
        what = fmt::format("the {} largest of {}, sums of the others (--all takes every one)", counted(shown), what);
    std::error_code error;
    if (const auto bytes = std::filesystem::file_size(file, error); !error)
        what = fmt::format("{}: {}", session.size(static_cast<std::int64_t>(bytes)), what);
    const std::string text = fmt::format("{}. Any browser opens it.", what);
    session.out << "Written: " << session.shownPath(file) << '\n'
                << session.painted(Style::quiet,
                                   session.columns() > 0 ? wrappedWords(text, session.columns(), 0) : text)
                << '\n';
}

ExitCode report(const Session& session, const ReportOptions& options, const Operands& operands) {
    const bool toOutput = options.output == "-";
    if (toOutput && session.options.json)
        throw UsageError{"With -o - the page itself goes to standard output: it can't be JSON, too."};
    if (options.output && options.output->empty())
        throw UsageError{"-o needs the name of a file, or - for standard output."};
    const NamedRecord named = NamedRecord::folder(session, operands);
    const Generation& scan = named.scan.summary();
    ReportFacts facts = reportFacts(session, scan);
    if (options.since) addGrowth(facts, session, *options.since, named.record.path());
    const ReportTree tree{named.scan.snapshot(), named.record.path()};
    const ReportSelection selection =
        reportSelection(tree, options.all ? std::nullopt : std::optional{usualReportItems}, ReportAges{facts.madeAt});
    Interruption::check();
    const std::string data = reportData(tree, selection, facts);
    const auto write = [&](std::ostream& out) { writeReportPage(out, data, [] { Interruption::check(); }); };
    if (toOutput) {
        write(session.raw());
        return ExitCode::done;
    }
    const std::string file = options.output
                                 ? *options.output
                                 : freeFileName("kestrel-report", named.record.path(), scan.completedAt, ".html");
    writeWholeFile(file, options.force ? ExistingFile::replace : ExistingFile::keep, write);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", scan);
        if (facts.growth) writeSnapshot(json, "since", facts.growth->since);
        json.member("path", named.record.path().view());
        json.member("written", file);
        json.member("nodes", selection.shown.size());
        json.member("items", tree.nodes().size());
        json.finish();
    } else {
        tell(session, file, tree, selection.shown.size());
    }
    return ExitCode::done;
}

}  // namespace

void addReportCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ReportOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "report",
         .operands = "[PATH]",
         .description = "Writes a folder of the saved scan as a page for any browser: a picture, lists, a search.",
         .examples = {"kestrel report", "kestrel report ~/Downloads -o downloads.html", "kestrel report --since 7d",
                      "kestrel report --all /srv -o - | gzip > srv.html.gz"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return report(session, *options, operands); });
    command
        .value("-o,--output", options->output,
               "Write to FILE, or with - to standard output (default: kestrel-report-NAME-DATE.html here)")
        .valueName("FILE")
        .check(takes(ValueKind::file));
    command.flag("--force", options->force, "Replace FILE if it is there");
    command.flag("-a,--all", options->all,
                 fmt::format("Put every item into the page (default: the {} largest, and sums of the others)",
                             ByteFormat::count(static_cast<std::int64_t>(usualReportItems))));
    command
        .value("--since", options->since,
               "Show what changed since this earlier scan, too: a number from kestrel history, a date, or an age "
               "such as 7d")
        .valueName("WHEN")
        .check(takes(ValueKind::scan));
}

}  // namespace KestrelCLI
