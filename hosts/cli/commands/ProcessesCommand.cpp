#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "output/JSONOutput.hpp"
#include "output/ProcessOrder.hpp"
#include "output/Table.hpp"
#include "output/TerminalText.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <fmt/format.h>

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
// on until the user has enough; each is one table, or one JSON object on a line of its own.

namespace KestrelCLI {

namespace {

using KestrelCore::ProcessSample;
using KestrelCore::ProcessSampler;
using namespace std::chrono_literals;

using Processes = std::vector<ProcessSample>;

/// How long the wait for a sample may last before signals are looked at again.
constexpr std::chrono::milliseconds pollInterval = 100ms;
/// Long enough for the clock of a process to show what it does, short enough to wait for.
constexpr const char* shortestLook = "500ms";

struct ProcessesOptions {
    ProcessOrder order = ProcessOrder::cpu;
    std::optional<std::string> every;
    std::optional<std::uint64_t> count;
    std::optional<std::uint64_t> limit;
};

void printJSON(const Session& session, const Processes& processes) {
    JSONOutput json{session.out};
    json.beginArray("processes");
    for (const ProcessSample& process : processes) {
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
        json.endObject();
    }
    json.endArray();
    json.finish();
}

/// As people read it; what is absent, such as the executable of a kernel thread, stays empty.
void printTable(const Session& session, const Processes& processes) {
    Table table{{{.title = "PID", .align = Table::Align::right},
                 {.title = "CPU %", .align = Table::Align::right},
                 {.title = "memory", .align = Table::Align::right},
                 {.title = "threads", .align = Table::Align::right},
                 {.title = "name", .shrinks = true},
                 {.title = "executable", .shrinks = true}}};
    for (const ProcessSample& process : processes) {
        const std::string path = process.executablePath ? process.executablePath->string() : std::string{};
        table.addRow({{fmt::to_string(process.id)},
                      {fmt::format("{:.1f}", process.cpuPercent)},
                      {session.size(process.residentBytes)},
                      {fmt::to_string(process.threadCount)},
                      // Escaped in a pipe too: a name with a newline would break the table.
                      {TerminalText::escaped(process.name.view())},
                      {TerminalText::escaped(path), Style::quiet}});
    }
    table.write(session.out, session.columns(), session.hasColor());
}

/// Prints one list, or with --every one after another until there were --count of them.
ExitCode printLists(const Session& session, const ProcessesOptions& options) {
    if (options.count && !options.every) throw UsageError{"--count goes with --every."};
    constexpr std::uint64_t forever = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t count = options.every ? options.count.value_or(forever) : 1;
    ProcessSampler sampler;
    // Processor use is a rate, so the first sample only begins it.
    auto lists = sampler.stream(intervalOption(options.every.value_or(shortestLook)));
    bool isFirst = true;
    for (std::uint64_t printed = 0; printed < count;) {
        Interruption::check();
        auto next = lists.next(pollInterval);
        if (!std::holds_alternative<Processes>(next)) continue;
        if (std::exchange(isFirst, false)) continue;
        // Sorted before it is cut: the limit keeps the first ones of the order that was asked for.
        Processes& processes = std::get<Processes>(next);
        sortProcesses(processes, options.order);
        if (options.limit && *options.limit < processes.size()) processes.resize(*options.limit);
        if (session.options.json) {
            printJSON(session, processes);
        } else {
            if (printed > 0) session.out << '\n';
            printTable(session, processes);
        }
        ++printed;
        if (!session.flush()) return ExitCode::failed;
    }
    return ExitCode::done;
}

}  // namespace

void addProcessesCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ProcessesOptions>();
    CLI::App& command = addCommand(app,
                                   {.name = "processes",
                                    .operands = "",
                                    .description = "Lists the processes with their processor use, memory and threads.",
                                    .examples = {"kestrel processes --limit 10", "kestrel processes --sort memory",
                                                 "kestrel processes --json --every 2s --count 5"}},
                                   [&session, options](const Operands&) { return printLists(session, *options); });
    const std::map<std::string, ProcessOrder> orders{
        {"cpu", ProcessOrder::cpu}, {"memory", ProcessOrder::memory}, {"name", ProcessOrder::name}};
    command.add_option("--sort", options->order, "Order: cpu (the default), memory or name")
        ->type_name("KEY")
        ->transform(oneOf(orders))
        ->option_text("KEY");
    command
        .add_option("--every", options->every,
                    "List again and again, with that time between two samples (without it, one list over 500ms)")
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
