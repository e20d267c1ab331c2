#pragma once

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"
#include "Scanning/ScanTask.hpp"
#include "support/FakeTraversal.hpp"

#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>
#include <vector>

namespace KestrelCore::testing {

/// All that one scan emitted, sorted out.
struct ScanEvents {
    std::vector<std::size_t> order;  ///< of the events' cases: 0 started, 1 progress, 2 issue, 3 completed
    std::vector<ScanProgress> progress;
    std::vector<ScanIssue> issues;
    std::optional<ScanSnapshot> snapshot;
    bool isComplete = false;
    std::exception_ptr error;

    [[nodiscard]] const ScanSnapshot& result() const {
        if (!snapshot) throw std::runtime_error{"The scan did not complete"};
        return *snapshot;
    }
    [[nodiscard]] FileRecord record(const Text& path) const { return result().record(path).value(); }
};

inline ScanEvents collect(EventStream<ScanEvent> stream) {
    ScanEvents events;
    try {
        while (const std::optional<ScanEvent> event = stream.next()) {
            events.order.push_back(event->index());
            if (const auto* progressed = std::get_if<ScanProgressed>(&*event))
                events.progress.push_back(progressed->progress);
            if (const auto* found = std::get_if<ScanIssueFound>(&*event)) events.issues.push_back(found->issue);
            if (const auto* completed = std::get_if<ScanCompleted>(&*event)) {
                events.snapshot = completed->snapshot;
                events.isComplete = completed->isComplete;
            }
        }
    } catch (...) {
        events.error = std::current_exception();
    }
    return events;
}

inline EventStream<ScanEvent> startScan(const ScanScope& scope, ScanEnvironment environment,
                                        const ScanOptions& options = {}) {
    return EventStream<ScanEvent>::start([scope, environment = std::move(environment), options](const auto& events) {
        runScan(scope, environment, events, options);
    });
}

/// The real file manager answers for the root, which must exist; the walk is the tree's.
inline ScanEnvironment environmentOf(const FakeTree& tree, const Text& home = "/home/ann") {
    return ScanEnvironment{.fileManager = FileManager::standard(),
                           .openTraversal = tree.factory(),
                           .rules = std::make_shared<SafetyRules>(home, "/opt/kestrel", SystemLocations{})};
}

inline ScanEvents scan(const Text& root, const FakeTree& tree, const Text& home = "/home/ann") {
    return collect(startScan(ScanScope{URL::fromPath(root)}, environmentOf(tree, home)));
}

inline ScanEvents scan(const Text& root, const FakeTree& tree, const ScanOptions& options) {
    return collect(startScan(ScanScope{URL::fromPath(root)}, environmentOf(tree), options));
}

}  // namespace KestrelCore::testing
