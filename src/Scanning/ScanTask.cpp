#include "Scanning/ScanTask.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/Vocabulary.hpp"
#include "Scanning/ScanWalk.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <algorithm>
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
             const EventStream<ScanEvent>::Continuation& events) {
    const Date startedAt = Date::now();
    events.yield(ScanStarted{scope});
    if (!environment.fileManager->isReadable(scope.root.path())) {
        const int reason = fileStatus(scope.root.path().string()).errorNumber;
        const Vocabulary& words = systemVocabulary();
        const Text& advice = reason == ENOENT || reason == ENOTDIR ? words.missingRoot : words.unreadableRoot;
        throw KestrelError::accessDenied(
            Text::concatenating({"Kestrel cannot read ", scope.root.path().view(), ". ", advice.view()}));
    }
    const Text rootPath = scope.root.standardized().path();
    const CancellationToken& cancellation = events.cancellation();
    TraversalOptions options{.root = rootPath.string(), .notEntered = {}, .cancellation = cancellation};
    if (rootPath == Text{"/"}) {
        options.notEntered.assign(ScanWalk::excludedFromDisk.begin(), ScanWalk::excludedFromDisk.end());
    }
    const bool holdsNUL = options.root.find('\0') != std::string::npos;
    std::unique_ptr<Traversal> traversal = holdsNUL ? nullptr : environment.openTraversal(options);
    if (traversal == nullptr) throw KestrelError::unavailable("The selected location could not be scanned.");

    ScanWalk walk{rootPath, *environment.rules,
                  [&](ScanProgress progress) { events.yield(ScanProgressed{std::move(progress)}); }};
    while (const TraversalEntry* entry = traversal->next()) {
        if (cancellation.isCancelled()) return;
        if (!walk.accept(*entry)) traversal->skipDescendants();
    }
    if (cancellation.isCancelled()) return;
    if (traversal->errorNumber() != 0) throw KestrelError::unavailable(systemErrorText(traversal->errorNumber()));
    // What the walk holds goes before the sort, which needs memory of its own.
    traversal.reset();
    walk.reportEnd();
    const std::vector<ScanIssue>& issues = walk.issues();
    for (std::size_t i = 0; i < std::min(issues.size(), mostIssueEvents); ++i) events.yield(ScanIssueFound{issues[i]});
    const std::shared_ptr<const RecordStorage> records = walk.tree().finish();
    events.yield(ScanCompleted{SnapshotAccess::make(UUID::random(), scope, startedAt, Date::now(), records, issues)});
}

EventStream<ScanEvent> DiskScanner::scan(const ScanScope& scope) const {
    return EventStream<ScanEvent>::start([scope](const EventStream<ScanEvent>::Continuation& events) {
        runScan(scope, ScanEnvironment::ofThisSystem(), events);
    });
}

}  // namespace KestrelCore
