#include "commands/DuplicatesRun.hpp"

#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/Paragraph.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"
#include "terminal/ProgressLine.hpp"

#include "KestrelCore/Base/EventStream.hpp"
#include "KestrelCore/Reclaim/DuplicateFinder.hpp"
#include "KestrelCore/Reclaim/DuplicateSharing.hpp"

#include <fmt/format.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

using Clock = ProgressLine::Clock;

/// `numbers` and as much of `path` as fits behind them.
std::string progressText(const Session& session, const std::string& numbers, const Text& path, std::size_t columns) {
    if (numbers.size() >= columns) return session.shortened(numbers, columns);
    return numbers + session.shortened(session.shownPath(path.view()), columns - numbers.size());
}

std::string bytesText(const Session& session, std::int64_t bytes, std::int64_t of) {
    return fmt::format("{:>9} of {:>9} compared  ", ByteFormat::rounded(bytes, session.options.units),
                       ByteFormat::rounded(of, session.options.units));
}

std::string searchText(const Session& session, const DuplicateProgress& progress, std::size_t columns) {
    const std::string numbers =
        progress.readsWhole ? bytesText(session, progress.bytesRead, progress.bytesToRead)
                            : fmt::format("{:>10} of {:>10} files looked at  ", ByteFormat::count(progress.filesDone),
                                          ByteFormat::count(progress.files));
    return progressText(session, numbers, progress.currentPath, columns);
}

/// Two files that are to have the same blocks.
struct Pair {
    const DuplicateFile* kept;
    const DuplicateFile* other;
    std::int64_t bytes;
};

/// Each file once, whatever its names, where it may have blocks of its own.
std::vector<Pair> pairsToShare(const DuplicateReport& report) {
    std::vector<Pair> pairs;
    for (const DuplicateGroup& group : report.groups) {
        std::unordered_set<FileIdentity> known{group.kept().identity};
        if (group.shareableBytes == 0) continue;
        for (const DuplicateFile& file : group.files) {
            if (file.identity.device != group.kept().identity.device || file.allocatedBytes == 0) continue;
            if (known.insert(file.identity).second) pairs.push_back({&group.kept(), &file, group.bytes});
        }
    }
    return pairs;
}

struct SharedFile {
    const DuplicateFile* file;
    DuplicateSharing::Result result;
};

void writeJSON(const Session& session, const std::vector<SharedFile>& done, std::int64_t freed) {
    JSONOutput json{session.out};
    json.beginArray("results");
    for (const SharedFile& each : done) {
        json.beginObject();
        json.member("path", each.file->path.view());
        json.member("succeeded", !each.result.failure.has_value());
        json.member("freedBytes", each.result.freedBytes);
        if (each.result.failure) json.member("message", each.result.failure->view());
        json.endObject();
    }
    json.endArray();
    json.member("reclaimableBytes", freed);
    json.finish();
}

}  // namespace

DuplicateReport searchWithProgress(const Session& session, const ScanSnapshot& snapshot, const Text& folder,
                                   const DuplicateOptions& options) {
    // Short enough that Ctrl-C and the progress line never feel late.
    constexpr auto patience = std::chrono::milliseconds{50};
    Interruption::check();
    ProgressLine line{session};
    DuplicateProgress progress{.currentPath = folder};
    std::optional<DuplicateReport> report;
    EventStream<DuplicateEvent> events = DuplicateFinder::find(snapshot, folder, options);
    for (;;) {
        auto next = events.next(patience);
        Interruption::check();
        if (std::holds_alternative<EventStream<DuplicateEvent>::Ended>(next)) break;
        if (auto* event = std::get_if<DuplicateEvent>(&next)) {
            if (auto* progressed = std::get_if<DuplicateProgress>(event)) progress = std::move(*progressed);
            if (auto* found = std::get_if<DuplicateReport>(event)) report = std::move(*found);
        }
        line.show([&](std::size_t columns) { return searchText(session, progress, columns); }, Clock::now());
    }
    if (!report) throw Interrupted{};
    return std::move(*report);
}

ExitCode shareBlocks(const Session& session, const DuplicateReport& report, Sharing sharing) {
    const std::vector<Pair> pairs = pairsToShare(report);
    if (pairs.empty()) {
        const bool isImpossible = report.reclaimableBytes > 0;
        const std::string sentence = report.groups.empty() ? "No equal files were found."
                                     : isImpossible
                                         ? "This file system can't let files share their blocks; btrfs and XFS can."
                                         : "Nothing to gain: equal files share their blocks already.";
        if (isImpossible) throw std::runtime_error{sentence};
        if (session.options.json) {
            writeJSON(session, {}, 0);
        } else {
            writeParagraph(session, sentence);
        }
        return ExitCode::done;
    }
    const std::string files = ByteFormat::files(pairs.size());
    if (sharing == Sharing::shown) {
        if (session.options.json) {
            writeJSON(session, {}, report.shareableBytes);
        } else {
            writeParagraph(session,
                           fmt::format("{} would share the blocks of equal ones, which frees about {}; nothing "
                                       "was touched.",
                                       files, session.size(report.shareableBytes)));
        }
        return ExitCode::done;
    }
    const InterruptionWatch watch;
    ProgressLine line{session};
    std::int64_t total = 0;
    for (const Pair& pair : pairs) total += pair.bytes;
    std::int64_t compared = 0;
    std::int64_t freed = 0;
    std::int64_t failures = 0;
    std::vector<SharedFile> done;
    for (const Pair& pair : pairs) {
        if (Interruption::isRequested()) break;
        const std::int64_t before = compared;
        const auto show = [&](std::int64_t bytes) {
            compared += bytes;
            line.show(
                [&](std::size_t columns) {
                    return progressText(session, bytesText(session, compared, total), pair.other->path, columns);
                },
                Clock::now());
        };
        show(0);
        done.push_back({pair.other, DuplicateSharing::share(*pair.kept, *pair.other, watch.token(), show)});
        compared = before + pair.bytes;
        const DuplicateSharing::Result& result = done.back().result;
        freed += result.freedBytes;
        if (!result.failure || Interruption::isRequested()) continue;
        ++failures;
        line.clear();
        if (!session.options.json) session.say(fmt::format("{}: {}", pair.other->path.view(), result.failure->view()));
    }
    line.clear();
    if (session.options.json) {
        writeJSON(session, done, freed);
    } else {
        writeParagraph(session, fmt::format("{} of {} share the blocks of equal ones now: {} came free. Nothing was "
                                            "deleted.",
                                            ByteFormat::count(static_cast<std::int64_t>(done.size()) - failures), files,
                                            session.size(freed)));
    }
    if (Interruption::isRequested()) throw Interrupted{};
    return failures > 0 ? ExitCode::failed : ExitCode::done;
}

}  // namespace KestrelCLI
