#include "commands/Commands.hpp"
#include "commands/LivePage.hpp"
#include "commands/OptionValue.hpp"
#include "output/JSONOutput.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/MonitorFigures.hpp"

#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// Without a terminal each sample is a line, and none is left out: somebody may be counting. On a terminal there is a
// page, which shows the newest.

namespace KestrelCLI {

namespace {

using KestrelCore::MemoryDetails;
using KestrelCore::SystemMetricsSampler;
using KestrelCore::SystemSample;
using namespace std::chrono_literals;

/// How long a wait may last before signals are looked at again.
constexpr std::chrono::milliseconds pollInterval = 100ms;

struct MonitorOptions {
    std::string every = "1s";
    std::optional<std::uint64_t> count;
};

void printSample(const Session& session, const SystemSample& sample, const MemoryDetails& memory) {
    if (session.options.json) {
        JSONOutput json{session.out};
        json.memberJSON("sample", sample.encodedJSON());
        json.member("cacheBytes", memory.cacheBytes);
        json.finish();
    } else {
        session.out << session.shown(monitorLine(session, sample, memory)) << '\n';
    }
}

/// Lets the sampler look once and a moment pass: what runs is told since the look before, and the first sample would
/// say that nothing does.
void lookAhead(SystemMetricsSampler& sampler, Seconds every) {
    constexpr std::chrono::milliseconds moment = 250ms;
    auto ahead = sampler.stream(every);
    (void)ahead.next(pollInterval);
    (void)ahead.next(moment);  // ends sooner where the samples come sooner
}

/// Prints every sample until there were `count`, or until interrupted.
ExitCode printLines(const Session& session, Seconds every, std::uint64_t count) {
    SystemMetricsSampler sampler;
    lookAhead(sampler, every);
    auto samples = sampler.stream(every);
    for (std::uint64_t printed = 0; printed < count;) {
        Interruption::check();
        auto next = samples.next(pollInterval);
        if (!std::holds_alternative<SystemSample>(next)) continue;
        printSample(session, std::get<SystemSample>(next), sampler.memoryDetails());
        ++printed;
        // Whoever reads along gets each line at once, and a reader that went away ends the command.
        if (!session.flush()) return ExitCode::failed;
    }
    return ExitCode::done;
}

}  // namespace

void addMonitorCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<MonitorOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "monitor",
         .operands = "",
         .description =
             "Shows the system's load and its processes live. On a terminal as a page to keep open, on which "
             "processes are sorted, found, frozen and asked to quit (? tells the keys); else a line a "
             "sample.",
         .examples = {"kestrel monitor", "kestrel monitor --every 5s --count 12 | tee load.txt",
                      "kestrel monitor --json --every 500ms"}},
        [&session, options](const Operands&) {
            const Seconds every = intervalOption(options->every);
            const std::uint64_t count = options->count.value_or(std::numeric_limits<std::uint64_t>::max());
            return canShowLivePage(session) ? showLivePage(session, every, count, MonitorPage::Options{})
                                            : printLines(session, every, count);
        });
    command.value("--every", options->every, "Time between two samples: 1s, 500ms, 2m (default: 1s)").valueName("TIME");
    command.value("--count", options->count, "How many samples (default: until stopped)")
        .valueName("N")
        .check(wholeNumber());
}

}  // namespace KestrelCLI
