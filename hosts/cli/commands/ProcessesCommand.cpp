#include "commands/Commands.hpp"
#include "commands/LivePage.hpp"
#include "commands/OptionValue.hpp"
#include "output/JSONOutput.hpp"
#include "output/ProcessOrder.hpp"
#include "output/Table.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// A list is one sample over an interval: processor use is what was used since the sample before. With --every lists go
// on until the user has enough: on a terminal as a page, else each is one table, or one JSON object on a line of its
// own.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using namespace std::chrono_literals;

/// How long the wait for a sample may last before signals are looked at again.
constexpr std::chrono::milliseconds pollInterval = 100ms;
/// Long enough for the clock of a process to show what it does, short enough to wait for.
constexpr const char* shortestLook = "500ms";

struct ProcessesOptions {
    ProcessOrder order = ProcessOrder::cpu;
    bool isTree = false;
    std::optional<std::string> user;
    std::optional<std::string> every;
    std::optional<std::uint64_t> count;
    std::optional<std::uint64_t> limit;
};

/// A row as it is printed: in a tree with what stands before its name.
struct Printed {
    const ProcessRow* row;
    std::string prefix;
};

std::vector<Printed> arranged(const Session& session, const std::vector<ProcessRow>& rows,
                              const ProcessesOptions& options) {
    std::vector<Printed> result;
    if (options.isTree) {
        for (TreePlace& place : processTree(rows, session.characters() == Characters::unicode)) {
            result.push_back({&rows[place.row], std::move(place.prefix)});
        }
    } else {
        for (const ProcessRow& row : rows) result.push_back({&row, {}});
    }
    // After the order was found: the limit keeps the first of it.
    if (options.limit && *options.limit < result.size()) result.resize(*options.limit);
    return result;
}

void printJSON(const Session& session, const std::vector<Printed>& printed) {
    JSONOutput json{session.out};
    json.beginArray("processes");
    for (const Printed& each : printed) {
        const ProcessSample& process = each.row->sample;
        const ProcessDescription& description = each.row->description;
        json.beginObject();
        json.member("id", process.id);
        json.member("name", process.name.view());
        if (process.executablePath) json.member("executablePath", process.executablePath->view());
        json.member("cpuPercent", process.cpuPercent);
        json.member("residentBytes", process.residentBytes);
        json.member("virtualBytes", process.virtualBytes);
        json.member("threadCount", process.threadCount);
        json.member("runningThreadCount", process.runningThreadCount);
        json.member("priority", process.priority);
        json.member("parentId", description.parentId);
        if (description.user) json.member("user", description.user->view());
        if (description.commandLine) json.member("commandLine", description.commandLine->view());
        if (description.startedAt) json.member("startedAt", description.startedAt->rfc3339());
        json.member("readBytes", description.readBytes);
        json.member("writtenBytes", description.writtenBytes);
        json.member("isKernelThread", description.isKernelThread);
        json.member("isFrozen", description.isFrozen);
        json.endObject();
    }
    json.endArray();
    json.finish();
}

/// As people read it. Columns that say less fold away on a narrow terminal; what is absent, such as the command line of
/// a kernel thread, stays empty.
void printTable(const Session& session, const std::vector<Printed>& printed) {
    const std::size_t columns = session.columns();
    const auto isWide = [columns](std::size_t least) { return columns == 0 || columns >= least; };
    const bool hasUser = isWide(70);
    const bool hasCommand = isWide(80);
    const bool hasTraffic = isWide(110);
    const bool hasStart = isWide(130);
    std::vector<Table::Column> titles{{.title = "PID", .align = Table::Align::right}};
    if (hasUser) titles.push_back({.title = "user"});
    titles.push_back({.title = "CPU %", .align = Table::Align::right});
    titles.push_back({.title = "memory", .align = Table::Align::right});
    titles.push_back({.title = "threads", .align = Table::Align::right});
    if (hasTraffic) {
        titles.push_back({.title = "read", .align = Table::Align::right});
        titles.push_back({.title = "written", .align = Table::Align::right});
    }
    if (hasStart) titles.push_back({.title = "started"});
    titles.push_back({.title = "name", .shrinks = !hasCommand, .isCut = true});
    if (hasCommand) titles.push_back({.title = "command line", .shrinks = true, .isCut = true});
    Table table{std::move(titles)};
    const auto text = [](const std::optional<Text>& value) {
        // Escaped in a pipe too: a name with a newline would break the table.
        return value ? TerminalText::escaped(value->view()) : std::string{};
    };
    const auto size = [&session](const std::optional<std::int64_t>& bytes) {
        return bytes ? session.size(*bytes) : std::string{};
    };
    for (const Printed& each : printed) {
        const ProcessSample& process = each.row->sample;
        const ProcessDescription& description = each.row->description;
        std::vector<Table::Cell> cells{{fmt::to_string(process.id)}};
        if (hasUser) cells.push_back({session.shortened(text(description.user), 12)});
        cells.push_back({fmt::format("{:.1f}", process.cpuPercent)});
        cells.push_back({session.size(process.residentBytes)});
        cells.push_back({fmt::to_string(process.threadCount)});
        if (hasTraffic) {
            cells.push_back({size(description.readBytes)});
            cells.push_back({size(description.writtenBytes)});
        }
        if (hasStart) cells.push_back({description.startedAt ? localTime(*description.startedAt) : ""});
        std::string name = TerminalText::escaped(process.name.view());
        // A command line stands beside it, and there the whole name is seen.
        if (hasCommand && columns > 0) name = session.shortened(name, 20);
        cells.push_back({each.prefix + name + (description.isFrozen ? " (frozen)" : "")});
        if (hasCommand) cells.push_back({text(description.commandLine), Style::quiet});
        table.addRow(std::move(cells));
    }
    table.write(session);
}

/// The next sample of the stream; waits for it, and throws when interrupted.
std::vector<ProcessSample> awaited(EventStream<std::vector<ProcessSample>>& lists) {
    for (;;) {
        Interruption::check();
        auto next = lists.next(pollInterval);
        if (std::holds_alternative<std::vector<ProcessSample>>(next)) {
            return std::get<std::vector<ProcessSample>>(std::move(next));
        }
    }
}

/// Prints one list, or with --every one after another until there were --count of them.
ExitCode printLists(const Session& session, const ProcessesOptions& options, const ProcessFilter& filter) {
    constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t count = options.every ? options.count.value_or(forever) : 1;
    ProcessSampler sampler;
    ProcessInspector inspector;
    auto lists = sampler.stream(intervalOption(options.every.value_or(shortestLook)));
    // Rates are since the sample before, so the first one only begins them.
    (void)processRows(awaited(lists), inspector);
    for (std::uint64_t printed = 0; printed < count; ++printed) {
        std::vector<ProcessRow> rows = processRows(awaited(lists), inspector);
        std::erase_if(rows, [&filter](const ProcessRow& row) {
            // This program has the words on its own command line, and is not what anybody looks for.
            return !filter.matches(row) || (!filter.words.empty() && row.sample.id == getpid());
        });
        sortProcesses(rows, options.order);
        const std::vector<Printed> list = arranged(session, rows, options);
        if (session.options.json) {
            printJSON(session, list);
        } else {
            if (printed > 0) session.out << '\n';
            if (list.empty() && !filter.isEmpty()) {
                session.say("No process matches.");
            } else {
                printTable(session, list);
            }
        }
        if (!session.flush()) return ExitCode::failed;
    }
    return ExitCode::done;
}

ExitCode runProcesses(const Session& session, const Operands& words, const ProcessesOptions& options) {
    if (options.count && !options.every) throw UsageError{"--count goes with --every."};
    const ProcessFilter filter{.words = words, .user = options.user};
    if (!options.every || !canShowLivePage(session)) return printLists(session, options, filter);
    MonitorPage::Options page;
    page.showsFigures = false;
    page.title = "kestrel processes";
    page.processes = {.order = options.order, .isTree = options.isTree, .filter = filter, .limit = options.limit};
    return showLivePage(session, intervalOption(*options.every),
                        options.count.value_or(std::numeric_limits<std::uint64_t>::max()), page);
}

}  // namespace

void addProcessesCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ProcessesOptions>();
    CLI::App& command = addCommand(
        app,
        {.name = "processes",
         .operands = "[WORDS…]",
         .description = "Lists the processes with their users, processor use, memory, threads and disk traffic; with "
                        "WORDS those that have all of them in their name, command line or user.",
         .examples = {"kestrel processes --limit 10", "kestrel processes firefox --sort memory",
                      "kestrel processes --tree --user www-data", "kestrel processes --every 2s",
                      "kestrel processes --json --every 2s --count 5"},
         .mostOperands = Command::unlimited},
        [&session, options](const Operands& words) { return runProcesses(session, words, *options); });
    const std::map<std::string, ProcessOrder> orders{{"cpu", ProcessOrder::cpu},
                                                     {"memory", ProcessOrder::memory},
                                                     {"name", ProcessOrder::name},
                                                     {"disk", ProcessOrder::disk}};
    command.add_option("--sort", options->order, "Order: cpu (the default), memory, name or disk")
        ->type_name("KEY")
        ->transform(oneOf(orders))
        ->option_text("KEY");
    command.add_flag("--tree", options->isTree, "Each process below the one that started it");
    command.add_option("--user", options->user, "Only processes of that user")->type_name("USER");
    command
        .add_option("--every", options->every,
                    "List again and again, with that time between two samples (without it, one list over 500ms); on a "
                    "terminal as a page")
        ->type_name("TIME");
    command.add_option("--count", options->count, "With --every: how many lists (default: until stopped)")
        ->type_name("N")
        ->transform(wholeNumber())
        ->option_text("N");
    command.add_option("--limit", options->limit, "At most that many processes")
        ->type_name("N")
        ->transform(wholeNumber())
        ->option_text("N");
}

}  // namespace KestrelCLI
