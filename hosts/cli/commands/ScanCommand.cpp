#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "commands/ScanRoot.hpp"
#include "output/ByteFormat.hpp"
#include "output/GrowthTree.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/SizeTree.hpp"
#include "output/TerminalText.hpp"
#include "output/Times.hpp"
#include "store/SavedScan.hpp"
#include "store/ScanSaving.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/ProgressLine.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <unordered_set>
#include <utility>
#include <variant>

// A scan runs on a thread of the library's and tells how far it is; this thread draws that and looks for Ctrl-C. Then
// the result is shown while it is saved, or before: saving takes its time, and whoever looks at a tree need not wait
// for it. As JSON it is the other way round, because the one object tells whether the scan was saved.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Clock = std::chrono::steady_clock;

struct ScanOptions {
    TreeLimits limits;
    bool noSave = false;
    bool listsIssues = false;
};

struct FinishedScan {
    ScanSnapshot snapshot;
    double seconds = 0;

    /// The scan of an empty folder may take no measurable time.
    [[nodiscard]] double entriesPerSecond() const {
        return static_cast<double>(snapshot.records().size()) / std::max(seconds, 1e-9);
    }
};

/// Runs the scan to its end and shows how far it is. Throws `Interrupted` on Ctrl-C; the scanner is then told to stop
/// and not waited for.
FinishedScan scanWithProgress(const Session& session, const ScanScope& scope) {
    // Short enough that Ctrl-C and the progress line never feel late.
    constexpr auto patience = std::chrono::milliseconds{50};

    const Clock::time_point start = Clock::now();
    ProgressLine line{session};
    ScanProgress progress{.currentPath = scope.root.path()};
    std::optional<ScanSnapshot> snapshot;
    EventStream<ScanEvent> events = DiskScanner{}.scan(scope);
    for (;;) {
        // Empty-handed when the patience is at its end: then only the line and the signals want looking after.
        auto next = events.next(patience);
        Interruption::check();
        if (std::holds_alternative<EventStream<ScanEvent>::Ended>(next)) break;
        if (auto* event = std::get_if<ScanEvent>(&next)) {
            if (auto* progressed = std::get_if<ScanProgressed>(event)) progress = std::move(progressed->progress);
            if (auto* completed = std::get_if<ScanCompleted>(event)) snapshot = std::move(completed->snapshot);
        }
        line.show(progress, Clock::now());
    }
    if (!snapshot) throw KestrelError::unavailable("The scan ended without a result.");
    return {std::move(*snapshot), std::chrono::duration<double>{Clock::now() - start}.count()};
}

/// Everything that the text form shows, largest first, each item once.
std::vector<FileRecord> shownRecords(const std::vector<TreeLine>& tree, const std::vector<FileRecord>& files) {
    std::vector<FileRecord> records;
    std::unordered_set<Text> paths;
    const auto add = [&](const FileRecord& record) {
        if (paths.insert(record.path()).second) records.push_back(record);
    };
    for (const TreeLine& line : tree) {
        // The root has no branch; its size is the total. Lines that stand for what is left out have no record.
        if (line.record && !line.branch.empty()) add(*line.record);
    }
    for (const FileRecord& file : files) add(file);
    std::ranges::stable_sort(records, std::ranges::greater{}, &FileRecord::displayBytes);
    return records;
}

void writeJSON(const Session& session, const FinishedScan& scan, const std::vector<FileRecord>& largest, bool isSaved) {
    JSONOutput json{session.out};
    writeSnapshot(json, "snapshot", summaryOf(scan.snapshot));
    json.beginArray("largest");
    for (const FileRecord& record : largest) writeRecord(json, record);
    json.endArray();
    json.beginArray("issues");
    for (const ScanIssue& issue : scan.snapshot.issues()) {
        json.beginObject();
        json.member("path", issue.path.view());
        json.member("message", issue.message.view());
        json.endObject();
    }
    json.endArray();
    json.member("saved", isSaved);
    json.member("elapsedSeconds", scan.seconds);
    json.member("entriesPerSecond", scan.entriesPerSecond());
    json.finish();
}

std::string itemCount(std::size_t count) {
    return fmt::format("{} {}", ByteFormat::count(static_cast<std::int64_t>(count)), count == 1 ? "item" : "items");
}

void writeIssues(const Session& session, const ScanSnapshot& snapshot) {
    session.out << '\n' << session.painted(Style::heading, "Could not be read") << '\n';
    for (const ScanIssue& issue : snapshot.issues()) {
        session.out << "  " << session.shownPath(issue.path.view()) << "  "
                    << session.painted(Style::warning, session.shown(issue.message.view())) << '\n';
    }
}

/// The tree, the largest files, the issues if asked for, and a line that sums up and compares with the scan before.
void writeText(const Session& session, const FinishedScan& scan, const ScanOptions& options,
               const std::vector<TreeLine>& tree, const std::vector<FileRecord>& files,
               const std::optional<EarlierScan>& earlier) {
    const std::int64_t total = scan.snapshot.totalAllocatedBytes();
    writeTree(session, tree, total);
    if (!files.empty()) {
        session.out << '\n' << session.painted(Style::heading, "Largest files") << '\n';
        writeFiles(session, files, scan.snapshot.scope().root.path(), total);
    }
    if (options.listsIssues && !scan.snapshot.issues().empty()) writeIssues(session, scan.snapshot);
    // The root itself is a record, but not an item in it.
    const std::size_t items = scan.snapshot.records().size() - std::min<std::size_t>(scan.snapshot.records().size(), 1);
    session.out << '\n'
                << session.painted(Style::heading, session.size(total)) << " on disk in " << itemCount(items)
                << (earlier ? ", " + change(session, total, *earlier, Date::now()) : "")
                << session.painted(Style::quiet,
                                   fmt::format("  ({:.2f} s, {} items a second)", scan.seconds,
                                               ByteFormat::count(static_cast<std::int64_t>(scan.entriesPerSecond()))))
                << '\n';
}

/// What has changed most since the scan before. That one may have been thinned out, or be damaged: then nothing is
/// said, since `kestrel growth` will.
void writeChanges(const Session& session, const SnapshotHistory& history, const EarlierScan& earlier,
                  const Generation& saved) {
    constexpr std::size_t shown = 3;
    try {
        const auto growth =
            history.growth(earlier.number, saved.number, std::nullopt, {.depth = {}, .most = changesToChooseFrom});
        if (!growth) return;
        writeLargestChanges(session, *growth, shown,
                            fmt::format("Largest changes since {}", age(earlier.completedAt, Date::now())));
    } catch (const KestrelError&) {
    }
}

/// Scans, shows, saves. Incomplete where some items could not be read; failed where it could not be saved.
ExitCode scan(const Session& session, const ScanOptions& options, const Operands& operands) {
    // What can't be saved anywhere is told before the scan, not after it.
    std::optional<ScanSaving> saving;
    if (!options.noSave) saving.emplace(session);
    const std::string name = operands.empty() ? FileManager::standard()->homeDirectory().string() : operands.front();
    const ScanRoot root = resolveScanRoot(name);
    if (root.wasLink) {
        session.say(fmt::format("{} leads to {}, which is scanned.", name, root.scope.root.path().view()));
    }
    const FinishedScan finished = scanWithProgress(session, root.scope);

    // Before this scan is the newest one.
    const std::optional<EarlierScan> earlier = saving ? saving->earlier(root.scope.root) : std::nullopt;
    Interruption::check();
    if (saving) saving->begin(finished.snapshot);
    const std::vector<TreeLine> tree = sizeTree(finished.snapshot, options.limits);
    const std::vector<FileRecord> files = largestFiles(finished.snapshot, options.limits.top);
    Interruption::check();
    ExitCode code = ExitCode::done;
    if (session.options.json) {
        // A save that has begun is not stopped: what it did is told.
        const bool isSaved = saving && saving->save(finished.snapshot);
        if (saving && !isSaved) code = ExitCode::failed;
        writeJSON(session, finished, shownRecords(tree, files), isSaved);
    } else {
        writeText(session, finished, options, tree, files, earlier);
        // The result is there to be read while it is saved.
        session.out.flush();
        Interruption::check();
        const auto saved = saving ? saving->save(finished.snapshot) : std::nullopt;
        if (saving && !saved) code = ExitCode::failed;
        if (saved && earlier && saving->history() != nullptr)
            writeChanges(session, *saving->history(), *earlier, *saved);
    }
    const std::size_t issues = finished.snapshot.issues().size();
    // A total that may be too small is no failure, but a script must be able to tell it from a whole one.
    if (issues == 0) return code;
    const bool mayBeMore = issues >= DiskScanner::mostIssues;
    session.say(fmt::format("{}{} could not be read, so the total may be too small.{}", itemCount(issues),
                            mayBeMore ? " or more" : "",
                            options.listsIssues || session.options.json ? "" : " --issues lists them."));
    return combined(code, ExitCode::incomplete);
}

}  // namespace

void addScanCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<ScanOptions>();
    CLI::App& command =
        addCommand(app,
                   {.name = "scan",
                    .operands = "[PATH]",
                    .description = "Scans a folder (default: your home folder) and shows what takes the most space.",
                    .examples = {"kestrel scan", "kestrel scan --depth 3 --top 5 /var", "kestrel scan --issues /",
                                 "kestrel scan --json ~/Downloads | python3 -m json.tool"},
                    .mostOperands = 1},
                   [&session, options](const Operands& operands) { return scan(session, *options, operands); });
    command.add_option("-d,--depth", options->limits.depth, "Show N levels of folders (default: 2)")
        ->option_text("N")
        ->transform(wholeNumber(100));
    command.add_option("--top", options->limits.top, "Show at most N items of each folder, and N files (default: 10)")
        ->option_text("N")
        ->transform(wholeNumber(100'000));
    command.add_flag("--issues", options->listsIssues, "List the items that could not be read");
    command.add_flag("--no-save", options->noSave, "Do not keep the result");
}

}  // namespace KestrelCLI
