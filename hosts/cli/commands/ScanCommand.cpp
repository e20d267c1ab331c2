#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "commands/ScanRoot.hpp"
#include "output/AccountOutput.hpp"
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
#include "KestrelCore/Scanning/DiskAccount.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "KestrelCore/Scanning/ScanOptions.hpp"
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
// the result is shown while it is saved: saving takes its time, and whoever looks at a tree need not wait for it. The
// line that sums up comes after it, since its seconds are those that the user waits. As JSON all comes after it,
// because the one object tells whether the scan was saved.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Clock = std::chrono::steady_clock;

struct ScanCommandOptions {
    TreeLimits limits;
    bool noSave = false;
    bool listsIssues = false;
    bool showsLengths = false;  ///< of contents, in place of what they take on the disk
};

struct FinishedScan {
    ScanSnapshot snapshot;
    bool isComplete = true;
    Clock::time_point start;
};

/// What the user has waited for so far, saving included.
struct Pace {
    double seconds = 0;
    double entriesPerSecond = 0;

    explicit Pace(const FinishedScan& scan)
        : seconds{std::chrono::duration<double>{Clock::now() - scan.start}.count()},
          // The scan of an empty folder may take no measurable time.
          entriesPerSecond{static_cast<double>(scan.snapshot.records().size()) / std::max(seconds, 1e-9)} {}
};

/// Runs the scan to its end and shows how far it is. On Ctrl-C it gives what was found until then where that is to be
/// kept, and else throws `Interrupted`: the scanner is then told to stop and not waited for.
FinishedScan scanWithProgress(const Session& session, const ScanScope& scope, bool keepsFound) {
    // Short enough that Ctrl-C and the progress line never feel late.
    constexpr auto patience = std::chrono::milliseconds{50};

    const Clock::time_point start = Clock::now();
    Interruption::check();
    ScanOptions options = ScanOptions::everything();
    if (keepsFound) options.keepingFound.emplace();
    ProgressLine line{session};
    ScanProgress progress{.currentPath = scope.root.path()};
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
            if (auto* progressed = std::get_if<ScanProgressed>(event)) progress = std::move(progressed->progress);
            if (auto* completed = std::get_if<ScanCompleted>(event)) result = std::move(*completed);
        }
        if (!Interruption::isRequested()) line.show(progress, Clock::now());
    }
    if (!result) {
        Interruption::check();
        throw KestrelError::unavailable("The scan ended without a result.");
    }
    return {.snapshot = std::move(result->snapshot), .isComplete = result->isComplete, .start = start};
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

/// A record is told as it was found, also where it was chosen by its length.
void writeLargest(JSONOutput& json, const FinishedScan& scan, const std::vector<FileRecord>& largest, bool areLengths) {
    json.beginArray("largest");
    for (const FileRecord& record : largest) {
        json.beginObject();
        writeRecordMembers(json, areLengths ? scan.snapshot.record(record.path()).value_or(record) : record);
        if (areLengths) json.member("apparentBytes", record.displayBytes());
        json.endObject();
    }
    json.endArray();
}

void writeJSON(const Session& session, const FinishedScan& scan, const ScanSnapshot& shown,
               const ScanCommandOptions& options, const std::vector<FileRecord>& largest,
               const std::optional<Generation>& saved, const std::optional<DiskAccount>& account) {
    JSONOutput json{session.out};
    Generation summary = summaryOf(scan.snapshot);
    if (saved) summary.number = saved->number;
    writeSnapshot(json, "snapshot", summary);
    if (options.showsLengths) json.member("totalApparentBytes", shown.totalAllocatedBytes());
    writeLargest(json, scan, largest, options.showsLengths);
    json.beginArray("issues");
    for (const ScanIssue& issue : scan.snapshot.issues()) {
        json.beginObject();
        json.member("path", issue.path.view());
        json.member("message", issue.message.view());
        json.endObject();
    }
    json.endArray();
    json.member("saved", saved.has_value());
    if (account) writeAccount(json, *account);
    const Pace pace{scan};
    json.member("elapsedSeconds", pace.seconds);
    json.member("entriesPerSecond", pace.entriesPerSecond);
    json.finish();
}

void writeIssues(const Session& session, const ScanSnapshot& snapshot) {
    session.out << '\n' << session.painted(Style::heading, "Could not be read") << '\n';
    for (const ScanIssue& issue : snapshot.issues()) {
        session.out << "  " << session.shownPath(issue.path.view()) << "  "
                    << session.painted(Style::warning, session.shown(issue.message.view())) << '\n';
    }
}

/// The tree, the largest files, and the issues if asked for.
void writeText(const Session& session, const ScanSnapshot& shown, const ScanCommandOptions& options,
               const std::vector<TreeLine>& tree, const std::vector<FileRecord>& files) {
    const std::int64_t total = shown.totalAllocatedBytes();
    writeTree(session, tree, total);
    if (!files.empty()) {
        session.out << '\n' << session.painted(Style::heading, "Largest files") << '\n';
        writeFiles(session, files, shown.scope().root.path(), total);
    }
    if (options.listsIssues && !shown.issues().empty()) writeIssues(session, shown);
}

/// A line that sums up and compares with the scan before, whose total was of the disk.
void writeSummary(const Session& session, const FinishedScan& scan, std::optional<std::int64_t> length,
                  const std::optional<EarlierScan>& earlier) {
    const std::int64_t total = scan.snapshot.totalAllocatedBytes();
    const Pace pace{scan};
    // The root itself is a record, but not an item in it.
    const std::size_t items = scan.snapshot.records().size() - std::min<std::size_t>(scan.snapshot.records().size(), 1);
    const std::string size = session.size(length.value_or(total));
    const std::string what =
        length ? fmt::format(" of contents in {}, which take {} on disk", ByteFormat::items(items), session.size(total))
               : fmt::format(" on disk in {}{}", ByteFormat::items(items),
                             earlier ? ", " + change(session, total, *earlier, Date::now()) : "");
    const std::string seconds = fmt::format("({:.2f} s, {} items a second)", pace.seconds,
                                            ByteFormat::count(static_cast<std::int64_t>(pace.entriesPerSecond)));
    const bool fits = session.columns() == 0 || size.size() + what.size() + 2 + seconds.size() <= session.columns();
    session.out << '\n'
                << session.painted(Style::heading, size) << what << (fits ? "  " : "\n")
                << session.painted(Style::quiet, seconds) << '\n';
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
ExitCode scan(const Session& session, const ScanCommandOptions& options, const Operands& operands) {
    // What can't be saved anywhere is told before the scan, not after it.
    std::optional<ScanSaving> saving;
    if (!options.noSave) saving.emplace(session);
    const std::string name = operands.empty() ? FileManager::standard()->homeDirectory().string() : operands.front();
    const ScanRoot root = resolveScanRoot(name);
    if (root.wasLink) {
        session.say(fmt::format("{} leads to {}, which is scanned.", name, root.scope.root.path().view()));
    }
    const FinishedScan finished =
        scanWithProgress(session, root.scope, saving.has_value() && saving->history() != nullptr);
    if (!finished.isComplete) {
        // Of the root alone nothing is to be learned.
        if (finished.snapshot.records().size() > 1) {
            if (auto kept = saving->keepFound(finished.snapshot)) throw InterruptedScan{std::move(*kept)};
        }
        throw Interrupted{};
    }

    // As the newest scan one of a single file would keep all questions without a path to itself.
    const auto top = finished.snapshot.record(root.scope.root.path());
    if (saving && saving->history() != nullptr && top && !top->isContainer()) {
        session.say("It is no folder, so the scan is not kept.");
        saving.reset();
    }
    // Before this scan is the newest one.
    const std::optional<EarlierScan> earlier = saving ? saving->earlier(root.scope.root) : std::nullopt;
    // Before anything is written by which the file system's own figures would change.
    const std::optional<DiskAccount> account = DiskAccount::of(finished.snapshot, ScanOptions::everything());
    if (saving) saving->begin(finished.snapshot);
    const ScanSnapshot shown = options.showsLengths ? finished.snapshot.withLogicalSizes() : finished.snapshot;
    const std::vector<TreeLine> tree = sizeTree(shown, options.limits);
    const std::vector<FileRecord> files = largestFiles(shown, options.limits.top);
    Interruption::check();
    ExitCode code = ExitCode::done;
    if (session.options.json) {
        // A save that has begun is not stopped: what it did is told.
        const auto saved = saving ? saving->save(finished.snapshot) : std::nullopt;
        if (saving && !saved) code = ExitCode::failed;
        writeJSON(session, finished, shown, options, shownRecords(tree, files), saved, account);
    } else {
        writeText(session, shown, options, tree, files);
        // The result is there to be read while it is saved.
        session.out.flush();
        Interruption::check();
        const auto saved = saving ? saving->save(finished.snapshot) : std::nullopt;
        if (saving && !saved) code = ExitCode::failed;
        writeSummary(session, finished,
                     options.showsLengths ? std::optional{shown.totalAllocatedBytes()} : std::nullopt, earlier);
        if (saved && earlier && saving->history() != nullptr)
            writeChanges(session, *saving->history(), *earlier, *saved);
        if (account) writeAccount(session, *account);
    }
    const std::size_t issues = finished.snapshot.issues().size();
    // A total that may be too small is no failure, but a script must be able to tell it from a whole one.
    if (issues == 0) return code;
    const bool mayBeMore = issues >= DiskScanner::mostIssues;
    session.say(fmt::format("{}{} could not be read, so the total may be too small.{}", ByteFormat::items(issues),
                            mayBeMore ? " or more" : "",
                            options.listsIssues || session.options.json ? "" : " --issues lists them."));
    return combined(code, ExitCode::incomplete);
}

}  // namespace

void addScanCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<ScanCommandOptions>();
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
    // As typed to other tools; nothing is to be chosen.
    command.add_flag_callback(
        "-x,--one-file-system", [] {}, "Stay on one file system, as every scan does");
    command.add_flag("--apparent-size", options->showsLengths,
                     "Show how long contents are, not what they take on the disk");
    command.add_flag("--no-save", options->noSave, "Do not keep the result");
}

}  // namespace KestrelCLI
