#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "output/JSONOutput.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/LiveScreen.hpp"
#include "terminal/MonitorPage.hpp"

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

// Samples come from the library's threads; this thread only shows them. Two ways to do that:
//
//     a line a sample      every sample is printed, none is left out: somebody may be counting
//     the page             only the newest of what came is drawn, so that a slow terminal never falls behind
//
// Either waits in short pieces, between which keys and signals are looked at.

namespace KestrelCLI {

namespace {

using KestrelCore::EventStream;
using KestrelCore::ProcessSampler;
using KestrelCore::SystemMetricsSampler;
using KestrelCore::SystemSample;
using namespace std::chrono_literals;

/// How long a wait may last before keys and signals are looked at again.
constexpr std::chrono::milliseconds pollInterval = 100ms;

struct MonitorOptions {
    std::string every = "1s";
    std::optional<std::uint64_t> count;
};

/// The newest value that a stream holds now; empty when nothing new came.
template <typename T>
std::optional<T> newest(EventStream<T>& stream) {
    std::optional<T> value;
    for (;;) {
        auto next = stream.next(0ns);
        if (!std::holds_alternative<T>(next)) return value;
        value = std::get<T>(std::move(next));
    }
}

void printSample(const Session& session, const SystemSample& sample) {
    if (session.options.json) {
        JSONOutput json{session.out};
        json.memberJSON("sample", sample.encodedJSON());
        json.finish();
    } else {
        session.out << session.shown(monitorLine(session, sample)) << '\n';
    }
}

/// Prints every sample until there were `count`, or until interrupted.
ExitCode printLines(const Session& session, Seconds every, std::uint64_t count) {
    SystemMetricsSampler sampler;
    auto samples = sampler.stream(every);
    for (std::uint64_t printed = 0; printed < count;) {
        Interruption::check();
        auto next = samples.next(pollInterval);
        if (!std::holds_alternative<SystemSample>(next)) continue;
        printSample(session, std::get<SystemSample>(next));
        ++printed;
        // Whoever reads along gets each line at once, and a reader that went away ends the command.
        if (!session.flush()) return ExitCode::failed;
    }
    return ExitCode::done;
}

/// Draws until `count` samples were taken over, until q, or until interrupted. `screen` puts the terminal back, also
/// when something throws.
ExitCode showPage(const Session& session, Seconds every, std::uint64_t count) {
    SystemMetricsSampler sampler;
    ProcessSampler processSampler;
    auto samples = sampler.stream(every);
    auto processLists = processSampler.stream(every);
    LiveScreen screen{session.hasColor()};
    MonitorPage page{session, screen.isUnicode()};
    for (std::uint64_t shown = 0; shown < count;) {
        // The page is drawn once before the first sample, which takes as long as the interval.
        bool isChanged = shown == 0;
        if (const auto sample = newest(samples)) {
            page.add(*sample);
            ++shown;
            isChanged = true;
        }
        if (auto processes = newest(processLists)) {
            page.setProcesses(std::move(*processes));
            isChanged = true;
        }
        if (isChanged) screen.draw(page.lines(screen.columns(), screen.rows()));
        const LiveScreen::Event event = screen.wait(pollInterval);
        Interruption::check();
        if (event == LiveScreen::Event::quit) return ExitCode::done;
        if (event == LiveScreen::Event::resized) screen.draw(page.lines(screen.columns(), screen.rows()));
    }
    return ExitCode::done;
}

}  // namespace

void addMonitorCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<MonitorOptions>();
    CLI::App& command = addCommand(
        app,
        {.name = "monitor",
         .operands = "",
         .description = "Shows the system's load live: processors, memory, swap, network, battery, temperature. On a "
                        "terminal as a page (q quits), else a line a sample.",
         .examples = {"kestrel monitor", "kestrel monitor --every 5s --count 12 | tee load.txt",
                      "kestrel monitor --json --every 500ms"}},
        [&session, options](const Operands&) {
            const Seconds every = intervalOption(options->every);
            const std::uint64_t count = options->count.value_or(std::numeric_limits<std::uint64_t>::max());
            // A page needs keys to be pressed and a screen to be drawn on; each of them may be redirected.
            const bool isLive = !session.options.json && session.terminal.isInput && session.terminal.isOutput &&
                                LiveScreen::isSupported();
            return isLive ? showPage(session, every, count) : printLines(session, every, count);
        });
    command.add_option("--every", options->every, "Time between two samples: 1s, 500ms, 2m (default: 1s)")
        ->type_name("TIME");
    command.add_option("--count", options->count, "How many samples (default: until stopped)")
        ->type_name("N")
        ->transform(wholeNumber())
        ->option_text("N");
}

}  // namespace KestrelCLI
