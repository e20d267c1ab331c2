#include "Scanning/ScanTask.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/Vocabulary.hpp"
#include "Scanning/ExcludeRules.hpp"
#include "Scanning/GrowingTreeState.hpp"
#include "Scanning/ScanWalk.hpp"
#include "Scanning/SystemFolders.hpp"
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

MountCrossing crossingOf(const ScanOptions& options) {
    if (options.mounts == ScanOptions::Mounts::leftOut) return MountCrossing::none;
    return options.kernelFileSystems == ScanOptions::KernelFileSystems::leftOut ? MountCrossing::exceptKernel
                                                                                : MountCrossing::all;
}

/// Null where nothing is to be left out, which costs nothing then.
std::shared_ptr<const ExcludeRules> rulesOf(const ScanOptions& options, const Text& rootPath) {
    if (options.exclude.empty() && options.cacheFolders == ScanOptions::CacheFolders::takenIn) return nullptr;
    return std::make_shared<const ExcludeRules>(options.exclude, rootPath.view(), options.cacheFolders);
}

/// `counts` are those of the rules, as far as they left anything out.
std::vector<LeftOutItems> leftOutItems(const ScanOptions& options, const ExcludeRules* rules,
                                       const std::vector<std::int64_t>& counts) {
    std::vector<LeftOutItems> items;
    if (rules == nullptr) return items;
    const auto add = [&](Text what, bool concernsRoot) {
        const std::int64_t count = items.size() < counts.size() ? counts[items.size()] : 0;
        items.push_back({.what = std::move(what), .items = count, .concernsRoot = concernsRoot});
    };
    for (std::uint32_t rule = 0; rule < options.exclude.size(); ++rule)
        add(options.exclude[rule].text(), rules->concernsRoot(rule));
    if (rules->cacheRule()) add(Text{cacheFoldersInWords}, true);
    return items;
}

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
    for (const Text& folder : options.systemFoldersLeftOut(scope))
        traversalOptions.notEntered.push_back(folder.string());
    const std::shared_ptr<const ExcludeRules> rules = rulesOf(options, rootPath);
    traversalOptions.filter = rules;
    traversalOptions.crossing = crossingOf(options);
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
    std::vector<EnteredFileSystem> entered;
    for (const TraversalMount& mount : traversal->entered())
        entered.push_back({.path = Text{mount.path}, .kind = Text{mount.kind}, .isRemote = mount.isRemote});
    // What the walk holds goes before the sort, which needs memory of its own.
    traversal.reset();
    if (!isComplete && walk.tree().storage().size() == 0) return;
    walk.reportEnd();
    const std::vector<ScanIssue>& issues = walk.issues();
    for (std::size_t i = 0; i < std::min(issues.size(), mostIssueEvents); ++i) events.yield(ScanIssueFound{issues[i]});
    const std::shared_ptr<const RecordStorage> records = walk.tree().finish();
    const ScanSnapshot snapshot = SnapshotAccess::make(UUID::random(), scope, startedAt, Date::now(), records, issues);
    growing.end(snapshot);
    events.yield(
        ScanCompleted{snapshot, isComplete, std::move(entered), leftOutItems(options, rules.get(), walk.leftOut())});
}

EventStream<ScanEvent> DiskScanner::scan(const ScanScope& scope) const { return scan(scope, ScanOptions{}); }

EventStream<ScanEvent> DiskScanner::scan(const ScanScope& scope, const ScanOptions& options) const {
    return EventStream<ScanEvent>::start([scope, options](const EventStream<ScanEvent>::Continuation& events) {
        runScan(scope, ScanEnvironment::ofThisSystem(), events, options);
    });
}

}  // namespace KestrelCore
