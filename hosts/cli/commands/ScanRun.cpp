#include "commands/ScanRun.hpp"

#include "terminal/Interruption.hpp"
#include "terminal/ProgressLine.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <variant>

// A scan runs on a thread of the library's and tells how far it is; this thread draws that and looks for Ctrl-C. Of
// several folders one is scanned after the other, and saved beside the scan of the next.

using namespace KestrelCore;

namespace KestrelCLI {

std::int64_t FinishedScans::totalBytes() const {
    std::int64_t total = -bytesCountedAgain;
    for (const FinishedScan& scan : scans) total += scan.snapshot().totalAllocatedBytes();
    return total;
}

std::size_t FinishedScans::records() const {
    std::size_t count = 0;
    for (const FinishedScan& scan : scans) count += scan.snapshot().records().size();
    return count;
}

std::size_t FinishedScans::issues() const {
    std::size_t count = 0;
    for (const FinishedScan& scan : scans) count += scan.snapshot().issues().size();
    return count;
}

std::vector<LeftOutItems> FinishedScans::leftOut() const {
    std::vector<LeftOutItems> all;
    for (const FinishedScan& scan : scans) addLeftOut(all, scan.result.leftOut);
    return all;
}

std::vector<EnteredFileSystem> FinishedScans::entered() const {
    std::vector<EnteredFileSystem> all;
    for (const FinishedScan& scan : scans)
        all.insert(all.end(), scan.result.entered.begin(), scan.result.entered.end());
    return all;
}

GenerationProvenance provenanceOf(const ScanOptions& options, const ScanScope& scope) {
    return {.leftOut = options.leftOut(scope), .crossesMounts = options.mounts == ScanOptions::Mounts::entered};
}

namespace {

using Clock = std::chrono::steady_clock;

/// How far the scans before this one came, for a progress over all.
struct Counted {
    std::int64_t files = 0;
    std::int64_t bytes = 0;
};

/// Runs the scan to its end and shows how far it is. On Ctrl-C it gives what was found until then where that is to be
/// kept, and else throws `Interrupted`: the scanner is then told to stop and not waited for.
ScanCompleted scanWithProgress(const Session& session, const ScanScope& scope, ScanOptions options, bool keepsFound,
                               Counted& counted) {
    // Short enough that Ctrl-C and the progress line never feel late.
    constexpr auto patience = std::chrono::milliseconds{50};

    Interruption::check();
    if (keepsFound) options.keepingFound.emplace();
    ProgressLine line{session};
    const Counted before = counted;
    ScanProgress progress{
        .filesSeen = before.files, .allocatedBytesSeen = before.bytes, .currentPath = scope.root.path()};
    std::optional<ScanCompleted> result;
    EventStream<ScanEvent> events = DiskScanner{}.scan(scope, options);
    for (;;) {
        // Empty-handed when the patience is at its end: then only the line and the signals want looking after.
        auto next = events.next(patience);
        if (keepsFound && Interruption::isRequested() && !options.keepingFound->isCancelled()) {
            options.keepingFound->cancel();
            line.clear();
            session.say("Stopping; once more Ctrl-C ends at once.");
        }
        if (!keepsFound) Interruption::check();
        if (std::holds_alternative<EventStream<ScanEvent>::Ended>(next)) break;
        if (auto* event = std::get_if<ScanEvent>(&next)) {
            if (auto* progressed = std::get_if<ScanProgressed>(event)) {
                progress = std::move(progressed->progress);
                progress.filesSeen += before.files;
                progress.allocatedBytesSeen += before.bytes;
            }
            if (auto* completed = std::get_if<ScanCompleted>(event)) result = std::move(*completed);
        }
        if (!Interruption::isRequested()) line.show(progress, Clock::now());
    }
    if (!result) {
        Interruption::check();
        throw KestrelError::unavailable("The scan ended without a result.");
    }
    counted = {.files = progress.filesSeen, .bytes = progress.allocatedBytesSeen};
    return std::move(*result);
}

/// Scans one folder, and begins to keep what it found.
FinishedScan scanOne(const Session& session, const ScanCommandOptions& options, const ScanScope& scope,
                     const ScanOptions& scanOptions, bool isOne, Counted& counted) {
    // What can't be saved anywhere is told before the scan, not after it.
    std::unique_ptr<ScanSaving> saving;
    if (!options.noSave) saving = std::make_unique<ScanSaving>(session, provenanceOf(scanOptions, scope));
    FinishedScan finished{.scope = scope,
                          .result = scanWithProgress(session, scope, scanOptions,
                                                     saving != nullptr && saving->history() != nullptr, counted),
                          .saving = std::move(saving),
                          .earlier = std::nullopt,
                          .account = std::nullopt,
                          .saved = std::nullopt};
    const ScanSnapshot& snapshot = finished.snapshot();
    if (!finished.result.isComplete) {
        // Of the root alone nothing is to be learned.
        if (snapshot.records().size() > 1) {
            if (auto kept = finished.saving->keepFound(snapshot)) throw InterruptedScan{std::move(*kept)};
        }
        throw Interrupted{};
    }
    // As the newest scan one of a single file would keep all questions without a path to itself.
    const auto top = snapshot.record(scope.root.path());
    if (finished.saving != nullptr && finished.saving->history() != nullptr && top && !top->isContainer()) {
        session.say(isOne ? "It is no folder, so the scan is not kept."
                          : fmt::format("{} is no folder, so its scan is not kept.", scope.root.path().view()));
        finished.saving.reset();
    }
    // Before this scan is the newest one.
    if (finished.saving != nullptr) finished.earlier = finished.saving->earlier(scope.root);
    // Before anything is written by which the file system's own figures would change.
    if (isOne) finished.account = DiskAccount::of(snapshot, scanOptions);
    if (finished.saving != nullptr) finished.saving->begin(snapshot);
    return finished;
}

}  // namespace

std::string usualScanRoot(const Session& session) {
    if (session.settings.folder.value) return *session.settings.folder.value;
    return FileManager::standard()->homeDirectory().string();
}

std::vector<ScanRoot> rootsOf(const Session& session, const Operands& operands) {
    std::vector<std::string> names = operands;
    if (names.empty()) names.push_back(usualScanRoot(session));
    std::vector<ScanRoot> roots;
    for (const std::string& name : names) {
        roots.push_back(resolveScanRoot(name));
        if (!roots.back().wasLink) continue;
        session.say(fmt::format("{} leads to {}, which is scanned.", name, roots.back().scope.root.path().view()));
    }
    const auto pathOf = [](const ScanRoot& root) { return root.scope.root.path(); };
    std::vector<ScanRoot> kept;
    for (std::size_t i = 0; i < roots.size(); ++i) {
        const Text path = pathOf(roots[i]);
        const auto holds = [&](std::size_t other) {
            const Text above = pathOf(roots[other]);
            if (above == path) return other < i;
            return above == Text{"/"} || Path::isBeneath(path, above);
        };
        std::optional<std::size_t> holder;
        for (std::size_t other = 0; other < roots.size() && !holder; ++other) {
            if (other != i && holds(other)) holder = other;
        }
        if (!holder) {
            kept.push_back(roots[i]);
        } else {
            session.say(pathOf(roots[*holder]) == path
                            ? fmt::format("{} is named twice, and scanned once.", path.view())
                            : fmt::format("{} lies in {}, and is scanned with it.", path.view(),
                                          pathOf(roots[*holder]).view()));
        }
    }
    return kept;
}

ExitCode save(FinishedScans& all) {
    ExitCode code = ExitCode::done;
    for (FinishedScan& scan : all.scans) {
        if (scan.saving == nullptr) continue;
        scan.saved = scan.saving->save(scan.snapshot());
        if (!scan.saved) code = ExitCode::failed;
    }
    return code;
}

FinishedScans scanAll(const Session& session, const ScanCommandOptions& options, const std::vector<ScanRoot>& roots,
                      ScanOptions scanOptions, ExitCode& code) {
    FinishedScans all{.scans = {}, .bytesCountedAgain = 0, .start = Clock::now()};
    const bool isOne = roots.size() == 1;
    if (!isOne) scanOptions.linkedFiles.emplace();
    Counted counted;
    for (const ScanRoot& root : roots) {
        try {
            all.scans.push_back(scanOne(session, options, root.scope, scanOptions, isOne, counted));
        } catch (const KestrelError& error) {
            if (isOne || (all.scans.empty() && &root == &roots.back())) throw;
            session.say(error.what());
            code = ExitCode::failed;
        }
    }
    if (scanOptions.linkedFiles) all.bytesCountedAgain = scanOptions.linkedFiles->bytesCountedAgain();
    return all;
}

}  // namespace KestrelCLI
