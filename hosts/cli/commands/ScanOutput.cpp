#include "commands/ScanOutput.hpp"

#include "output/AccountOutput.hpp"
#include "output/ByteFormat.hpp"
#include "output/GrowthTree.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Paragraph.hpp"
#include "output/Times.hpp"
#include "store/SavedScan.hpp"
#include "store/ScanLikeness.hpp"

#include "KestrelCore/Model/KestrelError.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <unordered_set>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Clock = std::chrono::steady_clock;

/// What the user has waited for so far, saving included.
struct Pace {
    double seconds = 0;
    double entriesPerSecond = 0;

    explicit Pace(const FinishedScans& all)
        : seconds{std::chrono::duration<double>{Clock::now() - all.start}.count()},
          // The scan of an empty folder may take no measurable time.
          entriesPerSecond{static_cast<double>(all.records()) / std::max(seconds, 1e-9)} {}
};

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
void writeLargest(JSONOutput& json, const FinishedScans& all, const ShownScans& shown, bool areLengths) {
    std::vector<TreeLine> lines;
    for (const auto& tree : shown.trees) lines.insert(lines.end(), tree.begin(), tree.end());
    json.beginArray("largest");
    for (const FileRecord& record : shownRecords(lines, shown.files)) {
        std::optional<FileRecord> found;
        for (const FinishedScan& scan : all.scans) {
            if (areLengths && !found) found = scan.snapshot().record(record.path());
        }
        json.beginObject();
        writeRecordMembers(json, found.value_or(record));
        if (areLengths) json.member("apparentBytes", record.displayBytes());
        json.endObject();
    }
    json.endArray();
}

/// What the JSON and the history say of a scan, kept or not.
Generation summaryOf(const FinishedScan& scan, const GenerationProvenance& provenance) {
    Generation summary = KestrelCLI::summaryOf(scan.snapshot());
    if (scan.saved) summary.number = scan.saved->number;
    summary.leftOut = provenance.leftOut;
    summary.crossesMounts = provenance.crossesMounts;
    return summary;
}

void writeIssues(JSONOutput& json, const FinishedScans& all) {
    json.beginArray("issues");
    for (const FinishedScan& scan : all.scans) {
        for (const ScanIssue& issue : scan.snapshot().issues()) {
            json.beginObject();
            json.member("path", issue.path.view());
            json.member("message", issue.message.view());
            json.endObject();
        }
    }
    json.endArray();
}

void writeIssues(const Session& session, const FinishedScans& all) {
    session.out << '\n' << session.painted(Style::heading, "Could not be read") << '\n';
    for (const FinishedScan& scan : all.scans) {
        for (const ScanIssue& issue : scan.snapshot().issues()) {
            session.out << "  " << session.shownPath(issue.path.view()) << "  "
                        << session.painted(Style::warning, session.shown(issue.message.view())) << '\n';
        }
    }
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
        writeLargestChanges(
            session, *growth, shown,
            fmt::format("Largest changes since {}", timeOfEarlierScan(earlier.completedAt, Date::now())));
    } catch (const KestrelError&) {
    }
}

bool foundNothingOf(const FinishedScan& scan, const Text& pattern) {
    return std::ranges::any_of(scan.result.leftOut,
                               [&](const LeftOutItems& each) { return each.what == pattern && each.items == 0; });
}

/// How many items are in what was scanned: a folder itself is a record, but no item in it, and a file alone is one.
std::size_t itemsIn(const ScanSnapshot& snapshot) {
    const std::size_t records = snapshot.records().size();
    return records == 1 && !snapshot.records()[0].isContainer() ? 1 : records - std::min<std::size_t>(records, 1);
}

}  // namespace

ShownScans::ShownScans(const FinishedScans& all, const ScanCommandOptions& options) {
    for (const FinishedScan& scan : all.scans) {
        snapshots.push_back(options.showsLengths ? scan.snapshot().withLogicalSizes() : scan.snapshot());
        trees.push_back(sizeTree(snapshots.back(), options.limits));
        const std::vector<FileRecord> largest = largestFiles(snapshots.back(), options.limits.top);
        files.insert(files.end(), largest.begin(), largest.end());
        if (options.showsLengths) totalBytes += snapshots.back().totalAllocatedBytes();
    }
    if (!options.showsLengths) totalBytes = all.totalBytes();
    std::ranges::stable_sort(files, std::ranges::greater{}, &FileRecord::displayBytes);
    files.erase(files.begin() + static_cast<std::ptrdiff_t>(std::min(files.size(), options.limits.top)), files.end());
}

void writeJSON(const Session& session, const FinishedScans& all, const ShownScans& shown,
               const ScanCommandOptions& options, const ScanOptions& scanOptions) {
    JSONOutput json{session.out};
    if (all.isOne()) {
        const FinishedScan& scan = all.scans.front();
        writeSnapshot(json, "snapshot", summaryOf(scan, provenanceOf(scanOptions, scan.scope)));
    } else {
        json.beginArray("snapshots");
        for (const FinishedScan& scan : all.scans) {
            json.beginObject();
            const Generation summary = summaryOf(scan, provenanceOf(scanOptions, scan.scope));
            if (summary.number > 0) json.member("number", summary.number);
            writeSummaryMembers(json, summary);
            json.endObject();
        }
        json.endArray();
        json.member("totalAllocatedBytes", all.totalBytes());
        json.member("countedAgainBytes", all.bytesCountedAgain);
    }
    if (options.showsLengths) json.member("totalApparentBytes", shown.totalBytes);
    writeLargest(json, all, shown, options.showsLengths);
    writeIssues(json, all);
    json.member("saved",
                std::ranges::all_of(all.scans, [](const FinishedScan& scan) { return scan.saved.has_value(); }));
    if (all.scans.front().account) writeAccount(json, *all.scans.front().account);
    writeChoice(json, all.leftOut(), options.choice.crossesMounts ? std::optional{all.entered()} : std::nullopt);
    const Pace pace{all};
    json.member("elapsedSeconds", pace.seconds);
    json.member("entriesPerSecond", pace.entriesPerSecond);
    json.finish();
}

void writeText(const Session& session, const FinishedScans& all, const ShownScans& shown,
               const ScanCommandOptions& options) {
    for (std::size_t i = 0; i < shown.trees.size(); ++i) {
        if (i > 0) session.out << '\n';
        writeTree(session, shown.trees[i], shown.totalBytes);
    }
    if (!shown.files.empty()) {
        session.out << '\n' << session.painted(Style::heading, "Largest files") << '\n';
        // Of several folders each path is told whole.
        writeFiles(session, shown.files, all.isOne() ? all.scans.front().scope.root.path() : Text{}, shown.totalBytes);
    }
    if (options.listsIssues && all.issues() > 0) writeIssues(session, all);
}

void writeSummary(const Session& session, const FinishedScans& all, std::optional<std::int64_t> length) {
    const std::int64_t total = all.totalBytes();
    const Pace pace{all};
    std::size_t items = 0;
    for (const FinishedScan& scan : all.scans) items += itemsIn(scan.snapshot());
    const std::string where = all.isOne() ? ByteFormat::items(items)
                                          : fmt::format("{} of {} folders", ByteFormat::items(items), all.scans.size());
    const std::optional<EarlierScan> earlier = all.isOne() ? all.scans.front().earlier : std::nullopt;
    const std::string size = session.size(length.value_or(total));
    const std::string what = length
                                 ? fmt::format(" of contents in {}, which take {} on disk", where, session.size(total))
                                 : fmt::format(" on disk in {}{}", where,
                                               earlier ? ", " + change(session, total, *earlier, Date::now()) : "");
    const std::string seconds = fmt::format("({:.2f} s, {} items a second)", pace.seconds,
                                            ByteFormat::count(static_cast<std::int64_t>(pace.entriesPerSecond)));
    const bool fits = session.columns() == 0 || size.size() + what.size() + 2 + seconds.size() <= session.columns();
    session.out << '\n'
                << session.painted(Style::heading, size) << what << (fits ? "  " : "\n")
                << session.painted(Style::quiet, seconds) << '\n';
    if (all.isOne()) return;
    if (all.bytesCountedAgain > 0) {
        writeParagraph(session, fmt::format("Files with names in more than one of them count once in this sum; scanned "
                                            "alone the folders have {} more.",
                                            session.size(all.bytesCountedAgain)));
    }
    for (const FinishedScan& scan : all.scans) {
        if (!scan.earlier) continue;
        const std::int64_t bytes = scan.snapshot().totalAllocatedBytes();
        session.out << fmt::format("{}: {}, {}\n", session.shownPath(scan.scope.root.path().view()),
                                   session.size(bytes), change(session, bytes, *scan.earlier, Date::now()));
    }
}

void writeComparison(const Session& session, const FinishedScans& all) {
    for (const FinishedScan& scan : all.scans) {
        if (!scan.saved || !scan.earlier || scan.saving->history() == nullptr) continue;
        std::string difference;
        if (scan.earlier->scan) {
            // A pattern of which nothing was found left nothing out.
            Generation saved = *scan.saved;
            std::erase_if(saved.leftOut, [&](const Text& each) { return foundNothingOf(scan, each); });
            difference = unlikenessInWords(session, *scan.earlier->scan, saved);
        }
        // What was left out would be among what is new or gone.
        if (all.isOne() && difference.empty())
            writeChanges(session, *scan.saving->history(), *scan.earlier, *scan.saved);
        if (!difference.empty()) session.say(difference);
    }
}

}  // namespace KestrelCLI
