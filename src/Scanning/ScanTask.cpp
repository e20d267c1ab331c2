#include "Scanning/ScanTask.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/Vocabulary.hpp"
#include "Scanning/GrowingTreeState.hpp"
#include "Scanning/ScanWalk.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

namespace KestrelCore {

static_assert(DiskScanner::mostIssues == ScanWalk::mostIssues);

namespace {

constexpr std::size_t mostIssueEvents = 100;

}  // namespace

ScanEnvironment ScanEnvironment::ofThisSystem() {
    // The rules of the process live as long as it does: nothing is owned.
    return ScanEnvironment{
        .fileManager = FileManager::standard(),
        .openTraversal = KestrelCore::openTraversal,
        .rules = std::shared_ptr<const SafetyRules>{std::shared_ptr<void>{}, &SafetyRules::ofThisProcess()}};
}

void runScan(const ScanScope& scope, const ScanEnvironment& environment,
             const EventStream<ScanEvent>::Continuation& events, const ScanOptions& options) {
    const Date startedAt = Date::now();
    const std::shared_ptr<GrowingTreeState> watched =
        options.growing ? GrowingTreeAccess::state(*options.growing) : nullptr;
    // Also of a scan that finds no root to begin with nobody shall see what the one before has left.
    WatchedWalk{watched, nullptr}.leave();
    events.yield(ScanStarted{scope});
    if (!environment.fileManager->isReadable(scope.root.path())) {
        const int reason = fileStatus(scope.root.path().string()).errorNumber;
        const Vocabulary& words = systemVocabulary();
        const Text& advice = reason == ENOENT || reason == ENOTDIR ? words.missingRoot : words.unreadableRoot;
        throw KestrelError::accessDenied(
            Text::concatenating({"Kestrel cannot read ", scope.root.path().view(), ". ", advice.view()}));
    }
    const Text rootPath = scope.root.standardized().path();
    // One token ends the walk, whichever side wants that; what then becomes of what was found differs.
    const CancellationToken walking;
    const std::array registrations{events.cancellation().onCancel([&] { walking.cancel(); }),
                                   options.keepingFound ? options.keepingFound->onCancel([&] { walking.cancel(); })
                                                        : CancellationToken::Registration{}};
    TraversalOptions traversalOptions{.root = rootPath.string(), .notEntered = {}, .cancellation = walking};
    for (const Text& folder : options.leftOut(scope)) traversalOptions.notEntered.push_back(folder.string());
    const bool holdsNUL = traversalOptions.root.find('\0') != std::string::npos;
    std::unique_ptr<Traversal> traversal = holdsNUL ? nullptr : environment.openTraversal(traversalOptions);
    if (traversal == nullptr) throw KestrelError::unavailable("The selected location could not be scanned.");

    ScanWalk walk{rootPath, *environment.rules,
                  [&](ScanProgress progress) { events.yield(ScanProgressed{std::move(progress)}); }, options};
    WatchedWalk growing{watched, walk.growing()};
    bool isStopped = false;
    const TraversalEntry* entry = nullptr;
    while (!isStopped && (entry = traversal->next()) != nullptr) {
        isStopped = walking.isCancelled();
        const auto lock = growing.working();
        if (!isStopped && !walk.accept(*entry)) traversal->skipDescendants();
    }
    const bool isComplete = !isStopped && traversal->errorNumber() == 0;
    if (events.cancellation().isCancelled()) return;
    if (!isComplete && !walking.isCancelled())
        throw KestrelError::unavailable(systemErrorText(traversal->errorNumber()));
    growing.leave();
    // What the walk holds goes before the sort, which needs memory of its own.
    traversal.reset();
    if (!isComplete && walk.tree().storage().size() == 0) return;
    walk.reportEnd();
    const std::vector<ScanIssue>& issues = walk.issues();
    for (std::size_t i = 0; i < std::min(issues.size(), mostIssueEvents); ++i) events.yield(ScanIssueFound{issues[i]});
    const std::shared_ptr<const RecordStorage> records = walk.tree().finish();
    const ScanSnapshot snapshot = SnapshotAccess::make(UUID::random(), scope, startedAt, Date::now(), records, issues);
    growing.end(snapshot);
    events.yield(ScanCompleted{snapshot, isComplete});
}

EventStream<ScanEvent> DiskScanner::scan(const ScanScope& scope) const { return scan(scope, ScanOptions{}); }

EventStream<ScanEvent> DiskScanner::scan(const ScanScope& scope, const ScanOptions& options) const {
    return EventStream<ScanEvent>::start([scope, options](const EventStream<ScanEvent>::Continuation& events) {
        runScan(scope, ScanEnvironment::ofThisSystem(), events, options);
    });
}

}  // namespace KestrelCore
