#include "commands/LivePage.hpp"

#include "terminal/Interruption.hpp"
#include "terminal/LiveScreen.hpp"

#include "KestrelCore/Metrics/ProcessDescription.hpp"
#include "KestrelCore/Metrics/StorageMetrics.hpp"
#include "KestrelCore/Metrics/SystemDetails.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>

#include <unistd.h>

#include <chrono>
#include <optional>
#include <utility>
#include <variant>

// Samples come from the library's threads, and only the newest of what came is drawn, so that a slow terminal never
// falls behind. One wait is all there is: for keys, the mouse, signals and the end of the terminal.

namespace KestrelCLI {

namespace {

using namespace KestrelCore;
using namespace std::chrono_literals;

/// How long a wait for keys may last before samples are looked at again.
constexpr std::chrono::milliseconds pollInterval = 100ms;

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

/// Carries out what was asked for; what came of it, in a sentence.
std::string carriedOut(const ProcessRequest& request) {
    const std::string name = fmt::format("{} ({})", request.process.name.view(), request.process.id);
    switch (request.kind) {
    case ProcessRequest::Kind::none: break;
    case ProcessRequest::Kind::quit: ProcessControl::terminate(request.process); return name + " was asked to quit.";
    case ProcessRequest::Kind::forceQuit: ProcessControl::forceQuit(request.process); return name + " was ended.";
    case ProcessRequest::Kind::freeze:
        ProcessControl::freeze(request.process);
        return name + " is frozen; Space lets it go on.";
    case ProcessRequest::Kind::resume: ProcessControl::resume(request.process); return name + " goes on.";
    }
    return {};
}

/// The readings behind a page.
class Readings {
public:
    Readings(Seconds every, bool withFigures) : processLists_{processSampler_.stream(every)} {
        if (!withFigures) return;
        samples_ = sampler_.stream(every);
        details_ = detailsSampler_.stream(every);
        storage_ = storageSampler_.stream(every);
    }

    /// Hands on what is new; whether anything was. A new list of processes adds one to `count`.
    bool handTo(MonitorPage& page, std::uint64_t& count) {
        bool isNew = false;
        if (samples_) {
            if (const auto sample = newest(*samples_)) {
                page.figures().add(*sample, sampler_.memoryDetails());
                isNew = true;
            }
        }
        if (details_) {
            if (const auto details = newest(*details_)) {
                page.figures().add(*details);
                isNew = true;
            }
        }
        if (storage_) {
            if (const auto storage = newest(*storage_)) {
                page.figures().add(*storage);
                isNew = true;
            }
        }
        if (auto processes = newest(processLists_)) {
            page.processes().setRows(processRows(std::move(*processes), inspector_));
            ++count;
            isNew = true;
        }
        return isNew;
    }

private:
    SystemMetricsSampler sampler_;
    SystemDetailsSampler detailsSampler_;
    StorageSampler storageSampler_;
    ProcessSampler processSampler_;
    ProcessInspector inspector_;
    EventStream<std::vector<ProcessSample>> processLists_;
    std::optional<EventStream<SystemSample>> samples_;
    std::optional<EventStream<SystemDetails>> details_;
    std::optional<EventStream<StorageSample>> storage_;
};

}  // namespace

bool canShowLivePage(const Session& session) {
    return !session.options.json && session.terminal.isInput && session.terminal.isOutput && LiveScreen::isSupported();
}

ExitCode showLivePage(const Session& session, Seconds every, std::uint64_t count, const MonitorPage::Options& options) {
    Readings readings{every, options.showsFigures};
    LiveScreen screen{session.hasColorOnPages()};
    MonitorPage page{session, screen.isUnicode() ? Characters::unicode : Characters::ascii, getpid(), options};
    const auto draw = [&] { screen.draw(page.lines(screen.columns(), screen.rows())); };
    draw();
    for (std::uint64_t shown = 0; shown < count;) {
        if (readings.handTo(page, shown)) draw();
        const ScreenKey key = screen.wait(pollInterval);
        Interruption::check();
        if (key.kind == ScreenKey::Kind::none || key.kind == ScreenKey::Kind::woken) continue;
        const MonitorPage::Answer answer = page.press(key, screen.columns(), screen.rows());
        if (answer.isOver) return ExitCode::done;
        if (answer.request.kind != ProcessRequest::Kind::none) {
            try {
                page.processes().setMessage(carriedOut(answer.request), Style::plain);
                page.processes().note(answer.request);
            } catch (const KestrelError& error) {
                page.processes().setMessage(error.what(), Style::bad);
            }
        }
        draw();
    }
    return ExitCode::done;
}

}  // namespace KestrelCLI
