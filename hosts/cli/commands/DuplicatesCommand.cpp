#include "commands/Commands.hpp"

#include "commands/Deletion.hpp"
#include "commands/DuplicatesRun.hpp"
#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/DuplicateList.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Paragraph.hpp"
#include "output/ShellWord.hpp"
#include "store/SavedScan.hpp"
#include "store/SizeValue.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Reclaim/DuplicateComparison.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

// Equal files of a saved scan: shown, or all but one of each moved to the Trash, or given common blocks.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct DuplicatesCommandOptions {
    std::optional<std::string> smallest;
    std::string keep = "oldest";
    bool all = false;
    std::optional<std::size_t> limit;
    bool toTrash = false;
    bool sharesBlocks = false;
    DeletionOptions moving;
};

constexpr std::size_t everything = std::numeric_limits<std::size_t>::max();
/// As many as fit one look.
constexpr std::size_t usualGroups = 20;
constexpr std::size_t usualFiles = 8;
constexpr std::string_view folderPrefix = "in:";

/// The folder that `--keep in:FOLDER` names, as the scan spells it.
Text keptFolder(const Session& session, const SavedScan& scan, std::string name) {
    if (name.empty()) throw UsageError{"--keep in:FOLDER names a folder, such as in:~/Pictures."};
    // The shell does not know that a path begins here.
    if (name == "~" || name.starts_with("~/")) name.replace(0, 1, session.home);
    const std::vector<Text> paths = meanings(name);
    for (const Text& path : paths) {
        const auto record = scan.record(path);
        if (record && record->isContainer()) return path;
    }
    throw PathError{fmt::format("{} is no folder of the saved scan.", paths.front().view()), paths.front().string()};
}

DuplicateOptions searchOptions(const Session& session, const DuplicatesCommandOptions& options, const SavedScan& scan) {
    DuplicateOptions search;
    if (options.smallest) search.smallestBytes = sizeOption(*options.smallest);
    if (options.keep == "newest") {
        search.keeping = DuplicateKeeping::newest;
    } else if (options.keep.starts_with(folderPrefix)) {
        search.keptFolder = keptFolder(session, scan, options.keep.substr(folderPrefix.size()));
    } else if (options.keep != "oldest") {
        throw UsageError{fmt::format("--keep {}: it is oldest, newest or in:FOLDER.", options.keep)};
    }
    return search;
}

std::string filesCount(std::int64_t count) { return ByteFormat::files(count); }

std::string linkNamesText(std::int64_t count) {
    if (count == 1) return "1 name is a further one (a hard link) of a file that was counted: nothing to gain.";
    return fmt::format("{} names are further ones (hard links) of files that were counted: nothing to gain.",
                       ByteFormat::count(count));
}

/// The same call with another end, for a person to copy; empty where the path can't be written.
std::optional<std::string> callWith(const Session& session, const DuplicatesCommandOptions& options, const Text& folder,
                                    std::string_view more) {
    const auto word = shellWord(folder.view());
    const std::string shown = session.shownPath(folder.view());
    if (!word) return std::nullopt;
    std::string call = "kestrel duplicates " + (shown.starts_with('~') && word->starts_with('/') ? shown : *word);
    const auto add = [&call](std::string_view name, const std::optional<std::string>& value) {
        if (value) call += fmt::format(" {} {}", name, shellWord(*value).value_or(*value));
    };
    add("--store", session.options.store);
    add("--min", options.smallest);
    if (options.keep != "oldest") add("--keep", options.keep);
    return call + std::string{more};
}

/// What was left out of the groups, and why.
void sayWhatIsMissing(const Session& session, const DuplicateReport& report) {
    if (report.changed > 0) {
        session.say(fmt::format("{} changed or went since the scan and {} left out; a new scan finds {}.",
                                filesCount(report.changed), report.changed == 1 ? "was" : "were",
                                report.changed == 1 ? "it" : "them"));
    }
    if (report.unreadable > 0) {
        const ScanIssue& first = report.issues.front();
        session.say(fmt::format("{} could not be read; the first is {}: {}", filesCount(report.unreadable),
                                first.path.view(), first.message.view()));
    }
}

std::size_t spareCount(const DuplicateReport& report) {
    std::size_t count = 0;
    for (const DuplicateGroup& group : report.groups)
        count += static_cast<std::size_t>(
            std::ranges::count(group.files, DuplicateStanding::spare, &DuplicateFile::standing));
    return count;
}

void writeTotals(const Session& session, const DuplicatesCommandOptions& options, const DuplicateReport& report,
                 const Text& folder, std::size_t shown) {
    if (report.groups.size() > shown) {
        session.out << '\n'
                    << session.painted(Style::quiet, fmt::format("… and {} more; --all shows them.",
                                                                 report.groups.size() - shown == 1
                                                                     ? "1 group"
                                                                     : ByteFormat::count(static_cast<std::int64_t>(
                                                                           report.groups.size() - shown)) +
                                                                           " groups"))
                    << '\n';
    }
    session.out << '\n';
    const std::size_t spare = spareCount(report);
    const std::string groups = report.groups.size() == 1
                                   ? "1 group"
                                   : ByteFormat::count(static_cast<std::int64_t>(report.groups.size())) + " groups";
    writeParagraph(session, spare == 0 ? fmt::format("None of the files in {} may go.", groups)
                                       : fmt::format("{} in {} may go, and one of each stays: {} would come free.",
                                                     filesCount(static_cast<std::int64_t>(spare)), groups,
                                                     session.size(report.reclaimableBytes)));
    if (report.linkNames > 0) writeParagraph(session, linkNamesText(report.linkNames));
    const auto trash = callWith(session, options, folder, " --trash");
    const auto dedupe = callWith(session, options, folder, " --dedupe");
    if (!trash || !dedupe || (spare == 0 && report.shareableBytes == 0)) return;
    session.out << '\n';
    if (spare > 0) session.out << session.painted(Style::quiet, *trash) << '\n';
    if (report.shareableBytes > 0)
        session.out << session.painted(Style::quiet, fmt::format("{}   (frees {}, nothing is deleted)", *dedupe,
                                                                 session.size(report.shareableBytes)))
                    << '\n';
}

void writeJSONTail(JSONOutput& json, const DuplicateReport& report, std::size_t mostGroups) {
    writeGroups(json, report, mostGroups);
    json.member("shareableBytes", report.shareableBytes);
    json.member("files", report.files);
    json.member("linkNames", report.linkNames);
    json.member("changed", report.changed);
    json.member("unreadable", report.unreadable);
    json.beginArray("issues");
    for (const ScanIssue& issue : report.issues) {
        json.beginObject();
        json.member("path", issue.path.view());
        json.member("message", issue.message.view());
        json.endObject();
    }
    json.endArray();
}

ExitCode showGroups(const Session& session, const DuplicatesCommandOptions& options, const NamedRecord& named,
                    const DuplicateOptions& search, const DuplicateReport& report) {
    const bool isWhole = options.all || session.options.json;
    const std::size_t most = options.limit.value_or(isWhole ? everything : usualGroups);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeSnapshot(json, "snapshot", named.scan.summary());
        json.member("path", named.record.path().view());
        writeJSONTail(json, report, most);
        json.member("reclaimableBytes", report.reclaimableBytes);
        json.finish();
        return ExitCode::done;
    }
    writeAge(session, named.scan.summary());
    if (report.groups.empty()) {
        writeParagraph(session, fmt::format("No equal files among {} of {} or more.", filesCount(report.files),
                                            session.size(search.smallestBytes)));
        if (report.linkNames > 0) writeParagraph(session, linkNamesText(report.linkNames));
        return ExitCode::done;
    }
    writeGroups(
        session, session.out, report,
        {.groups = most, .filesOfAGroup = options.all ? everything : usualFiles, .spareWord = "spare", .refusal = {}});
    writeTotals(session, options, report, named.record.path(), std::min(most, report.groups.size()));
    return ExitCode::done;
}

/// What may go, and the kept file that each is compared with once more.
class SpareFiles {
public:
    explicit SpareFiles(const DuplicateReport& report) {
        for (const DuplicateGroup& group : report.groups) {
            for (const DuplicateFile& file : group.files) {
                if (file.standing == DuplicateStanding::spare)
                    files_.emplace(file.path, std::pair{&group.kept(), &file});
            }
        }
    }
    /// In the order of the groups.
    [[nodiscard]] static Operands paths(const DuplicateReport& report) {
        Operands paths;
        for (const DuplicateGroup& group : report.groups) {
            for (const DuplicateFile& file : group.files) {
                if (file.standing == DuplicateStanding::spare) paths.push_back(file.path.string());
            }
        }
        return paths;
    }
    [[nodiscard]] std::optional<Text> objection(const Text& path, const CancellationToken& cancellation) const {
        const auto found = files_.find(path);
        if (found == files_.end()) return "It was not found to be equal to anything.";
        return DuplicateComparison::objection(*found->second.first, *found->second.second, cancellation);
    }

private:
    std::unordered_map<Text, std::pair<const DuplicateFile*, const DuplicateFile*>> files_;
};

ExitCode moveToTrash(Session& session, DuplicatesCommandOptions& options, const DuplicateReport& report) {
    const SpareFiles spare{report};
    const Operands paths = SpareFiles::paths(report);
    if (paths.empty() && !session.options.json) {
        session.out << (report.groups.empty() ? "No equal files were found.\n"
                                              : "None of the equal files may go: nothing would come free.\n");
        return ExitCode::done;
    }
    DeletionOptions& moving = options.moving;
    moving.mode = DeletionMode::trash;
    moving.planOutput = [&](std::ostream& out, const DeletionProposal& proposal) {
        std::unordered_map<Text, Text> refused;
        for (const ProposedItem& item : proposal.items) {
            if (item.refusal) refused.emplace(item.path, *item.refusal);
        }
        writeGroups(session, out, report,
                    {.groups = everything,
                     .filesOfAGroup = everything,
                     .spareWord = "trash",
                     .refusal = [&](const DuplicateFile& file) -> std::optional<Text> {
                         const auto found = refused.find(file.path);
                         return found == refused.end() ? std::nullopt : std::optional{found->second};
                     }});
        out << '\n';
    };
    moving.lastLook = [&](const FileRecord& record, const CancellationToken& cancellation) {
        return spare.objection(record.path(), cancellation);
    };
    moving.afterwards = [&](JSONOutput* json, const std::vector<Text>&) {
        if (json != nullptr) writeJSONTail(*json, report, everything);
    };
    return runDeletion(session, paths, moving);
}

void checkOptions(const DuplicatesCommandOptions& options) {
    const DeletionOptions& moving = options.moving;
    if (options.toTrash && options.sharesBlocks) throw UsageError{"--trash and --dedupe are two ways; name one."};
    if (!options.toTrash && (moving.isConfirmed || moving.includesHighRisk))
        throw UsageError{"--yes and --include-high-risk go with --trash."};
    if (!options.toTrash && !options.sharesBlocks && moving.isDryRun)
        throw UsageError{"--dry-run goes with --trash or --dedupe; without them nothing is touched anyway."};
    if ((options.toTrash || options.sharesBlocks) && (options.all || options.limit))
        throw UsageError{"--all and --limit are about what is shown; --trash and --dedupe take all of it."};
}

ExitCode run(Session& session, DuplicatesCommandOptions& options, const Operands& operands) {
    checkOptions(options);
    const NamedRecord named = NamedRecord::folder(session, operands);
    const DuplicateOptions search = searchOptions(session, options, named.scan);
    const DuplicateReport report = searchWithProgress(session, named.scan.snapshot(), named.record.path(), search);
    sayWhatIsMissing(session, report);
    const ExitCode code = report.unreadable > 0 ? ExitCode::incomplete : ExitCode::done;
    if (options.toTrash) return combined(code, moveToTrash(session, options, report));
    if (options.sharesBlocks)
        return combined(code, shareBlocks(session, report, options.moving.isDryRun ? Sharing::shown : Sharing::done));
    return combined(code, showGroups(session, options, named, search, report));
}

}  // namespace

void addDuplicatesCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<DuplicatesCommandOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "duplicates",
         .operands = "[PATH]",
         .description =
             "Finds equal files, and moves all but one of each to the Trash or lets them share their blocks.",
         .examples = {"kestrel duplicates", "kestrel duplicates ~/Pictures --min 100kB",
                      "kestrel duplicates ~ --keep in:~/Pictures --trash --dry-run",
                      "kestrel duplicates ~/Pictures --trash", "kestrel duplicates /srv --dedupe"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder},
        [&session, options](const Operands& operands) { return run(session, *options, operands); });
    command.value("--min", options->smallest, "Leave out files that are smaller (default: 1MB)").valueName("SIZE");
    command
        .value("--keep", options->keep,
               "Which of equal files stays: oldest (default), newest, or in:FOLDER, where all of them stay")
        .valueName("WHICH")
        .check(takesSuchAs({"oldest", "newest", "in:"}));
    const CommandOption all = command.flag("-a,--all", options->all, "Show every group and every file of it");
    command.value("--limit", options->limit, fmt::format("Show N groups (default: {}; with --json: all)", usualGroups))
        .valueName("N")
        .check(wholeNumber())
        .excludes(all);
    command.flag("--trash", options->toTrash, "Move all but the kept ones to the Trash, after a question");
    command.flag("-y,--yes", options->moving.isConfirmed, "With --trash: do not ask");
    command.flag("--include-high-risk", options->moving.includesHighRisk,
                 "With --trash: let items of high risk go too");
    command.flag("--dedupe", options->sharesBlocks,
                 "Let equal files share their blocks (btrfs, XFS); nothing is deleted");
    command.flag("--dry-run", options->moving.isDryRun, "With --trash or --dedupe: only show what would happen");
}

}  // namespace KestrelCLI
