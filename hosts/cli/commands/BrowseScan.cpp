#include "commands/BrowseScan.hpp"

#include "commands/ScanChoice.hpp"
#include "commands/ScanRun.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"

#include <chrono>
#include <utility>
#include <variant>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using namespace std::chrono_literals;

EventStream<ScanEvent> begin(const ScanScope& scope, ScanOptions options, const CancellationToken& keeping,
                             const GrowingTree& growing) {
    options.keepingFound = keeping;
    options.growing = growing;
    return DiskScanner{}.scan(scope, options);
}

}  // namespace

BrowseScan::BrowseScan(const ScanScope& scope, const Settings& settings)
    : BrowseScan{scope, ScanChoice{}.options(settings)} {}

BrowseScan::BrowseScan(const ScanScope& scope, ScanOptions options)
    : provenance_{provenanceOf(options, scope)}, events_{begin(scope, std::move(options), keeping_, growing_)} {}

bool BrowseScan::look() {
    for (;;) {
        auto next = events_.next(0ns);
        if (std::holds_alternative<EventStream<ScanEvent>::TimedOut>(next)) return false;
        if (std::holds_alternative<EventStream<ScanEvent>::Ended>(next)) {
            if (!completed_) throw KestrelError::unavailable("The scan ended without a result.");
            return true;
        }
        auto& event = std::get<ScanEvent>(next);
        if (auto* progressed = std::get_if<ScanProgressed>(&event)) progress_ = std::move(progressed->progress);
        if (auto* completed = std::get_if<ScanCompleted>(&event)) completed_ = std::move(*completed);
    }
}

BrowseFolders::Listing BrowseScan::listing() const {
    return [growing = growing_](const Text& path) { return growing.listing(path); };
}

std::optional<ScanCompleted> BrowseScan::stop() {
    keeping_.cancel();
    // A second wish to stop, or a first one when the page was closed otherwise, is not kept waiting.
    const bool wasRequested = Interruption::isRequested();
    for (;;) {
        auto next = events_.next(50ms);
        if (std::holds_alternative<EventStream<ScanEvent>::Ended>(next)) return std::move(completed_);
        if (auto* event = std::get_if<ScanEvent>(&next)) {
            if (auto* completed = std::get_if<ScanCompleted>(event)) completed_ = std::move(*completed);
        }
        if (!wasRequested && Interruption::isRequested()) return std::nullopt;
    }
}

}  // namespace KestrelCLI
