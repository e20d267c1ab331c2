#include "commands/Commands.hpp"
#include "commands/LivePage.hpp"
#include "commands/OptionValue.hpp"
#include "commands/Suggestion.hpp"
#include "output/JSONOutput.hpp"
#include "output/ProcessOrder.hpp"
#include "output/ProcessTable.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <set>
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

std::vector<ListedProcess> arranged(const Session& session, const std::vector<ProcessRow>& rows,
                                    const ProcessesOptions& options) {
    std::vector<ListedProcess> result;
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

void printJSON(const Session& session, const std::vector<ListedProcess>& printed) {
    JSONOutput json{session.out};
    json.beginArray("processes");
    for (const ListedProcess& each : printed) {
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

/// Why a list is empty. A name that no process has as its user may be no user's at all.
std::string whyEmpty(const ProcessFilter& filter, const std::set<std::string>& users) {
    if (!filter.user || users.contains(*filter.user)) return "No process matches.";
    const std::vector<std::string> names{users.begin(), users.end()};
    const std::string meant = didYouMeanOneOf(*filter.user, names);
    return fmt::format("No process belongs to a user “{}”. {}", *filter.user,
                       meant.empty() ? fmt::format("They belong to {}.", fmt::join(names, ", ")) : meant);
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
        std::set<std::string> users;
        for (const ProcessRow& row : rows) {
            if (row.description.user) users.insert(row.description.user->string());
        }
        std::erase_if(rows, [&filter](const ProcessRow& row) {
            // This program has the words on its own command line, and is not what anybody looks for.
            return !filter.matches(row) || (!filter.words.empty() && row.sample.id == getpid());
        });
        sortProcesses(rows, options.order);
        const std::vector<ListedProcess> list = arranged(session, rows, options);
        if (rows.empty() && !filter.isEmpty()) session.say(whyEmpty(filter, users));
        if (session.options.json) {
            printJSON(session, list);
        } else {
            if (printed > 0) session.out << '\n';
            if (!list.empty()) writeProcessTable(session, list);
        }
        if (!session.flush()) return ExitCode::failed;
    }
    return ExitCode::done;
}

ExitCode runProcesses(const Session& session, const Operands& words, const ProcessesOptions& options) {
    if (options.count && !options.every) throw UsageError{"--count goes with --every."};
    ProcessFilter filter{.words = words, .user = options.user};
    std::erase(filter.words, "");
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
    const CommandOptions command = addCommand(
        app,
        {.name = "processes",
         .operands = "[WORDS…]",
         .description = "Lists the processes with their users, processor use, memory, threads and disk traffic; with "
                        "WORDS those that have all of them in their name, command line or user.",
         .examples = {"kestrel processes --limit 10", "kestrel processes firefox --sort memory",
                      "kestrel processes --tree --user www-data", "kestrel processes --every 2s",
                      "kestrel processes --json --every 2s --count 5"},
         .mostOperands = Command::unlimited,
         .takesWords = true,
         .operandKind = ValueKind::process},
        [&session, options](const Operands& words) { return runProcesses(session, words, *options); });
    const std::map<std::string, ProcessOrder> orders{{"cpu", ProcessOrder::cpu},
                                                     {"memory", ProcessOrder::memory},
                                                     {"name", ProcessOrder::name},
                                                     {"disk", ProcessOrder::disk}};
    command.choice("--sort", options->order, orders, "Order: cpu (the default), memory, name or disk").valueName("KEY");
    command.flag("--tree", options->isTree, "Each process below the one that started it");
    command.value("--user", options->user, "Only processes of that user")
        .valueName("USER")
        .check(takes(ValueKind::user));
    command
        .value("--every", options->every,
               "List again and again, with that time between two samples (without it, one list over 500ms); on a "
               "terminal as a page")
        .valueName("TIME");
    command.value("--count", options->count, "With --every: how many lists (default: until stopped)")
        .valueName("N")
        .check(wholeNumber());
    command.value("--limit", options->limit, "At most that many processes").valueName("N").check(wholeNumber());
}

}  // namespace KestrelCLI
