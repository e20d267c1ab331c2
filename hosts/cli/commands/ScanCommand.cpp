#include "commands/Commands.hpp"
#include "commands/OptionValue.hpp"
#include "commands/ScanOutput.hpp"
#include "commands/ScanRun.hpp"
#include "output/AccountOutput.hpp"
#include "output/ByteFormat.hpp"
#include "store/Places.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Scanning/DiskScanner.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

// The result is shown while it is saved: saving takes its time, and whoever looks at a tree need not wait for it. The
// line that sums up comes after it, since its seconds are those that the user waits. As JSON all comes after it,
// because the one object tells whether the scan was saved.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Scans, shows, saves. Incomplete where some items could not be read; failed where it could not be saved.
ExitCode scan(const Session& session, const ScanCommandOptions& options, const Operands& operands) {
    const ScanOptions scanOptions = options.choice.options(session.settings);
    // What can't be saved anywhere is told before anything else.
    if (!options.noSave) (void)ScanSaving{session};
    const std::vector<ScanRoot> roots = rootsOf(session, operands);
    if (roots.size() > 1 && !options.noSave && namedStorePath(session))
        throw UsageError{"A snapshot database keeps one scan. Name one folder, or leave --store out."};
    ExitCode code = ExitCode::done;
    FinishedScans all = scanAll(session, options, roots, scanOptions, code);
    warnOfPatternsElsewhere(session, all.leftOut());
    const ShownScans shown{all, options};
    Interruption::check();
    if (session.options.json) {
        // A save that has begun is not stopped: what it did is told.
        code = combined(code, save(all));
        writeJSON(session, all, shown, options, scanOptions);
    } else {
        writeText(session, all, shown, options);
        // The result is there to be read while it is saved.
        session.out.flush();
        Interruption::check();
        code = combined(code, save(all));
        writeSummary(session, all, options.showsLengths ? std::optional{shown.totalBytes} : std::nullopt);
        writeChoice(session, all.leftOut(), all.entered());
        writeComparison(session, all);
        if (all.scans.front().account) writeAccount(session, *all.scans.front().account);
    }
    const std::size_t issues = all.issues();
    // A total that may be too small is no failure, but a script must be able to tell it from a whole one.
    if (issues == 0) return code;
    const bool mayBeMore = std::ranges::any_of(
        all.scans, [](const FinishedScan& scan) { return scan.snapshot().issues().size() >= DiskScanner::mostIssues; });
    session.say(fmt::format("{}{} could not be read, so the total may be too small.{}", ByteFormat::items(issues),
                            mayBeMore ? " or more" : "",
                            options.listsIssues || session.options.json ? "" : " --issues lists them."));
    return combined(code, ExitCode::incomplete);
}

}  // namespace

void addScanCommand(CLI::App& app, Session& session) {
    auto options = std::make_shared<ScanCommandOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "scan",
         .operands = "[PATH...]",
         .description = "Scans folders (default: your home folder) and shows what takes the most space. "
                        "Each folder is kept as a scan of its own; what is shown is one total of all.",
         .examples = {"kestrel scan", "kestrel scan --depth 3 --top 5 /var", "kestrel scan --issues /",
                      "kestrel scan ~ /srv", "kestrel scan --exclude node_modules --exclude '*.iso' ~",
                      "kestrel scan --cross-mounts /", "kestrel scan --json ~/Downloads | python3 -m json.tool"},
         .mostOperands = Command::unlimited,
         .operandKind = ValueKind::folder},
        [&session, options](const Operands& operands) { return scan(session, *options, operands); });
    command.value("-d,--depth", options->limits.depth, "Show N levels of folders (default: 2)")
        .valueName("N")
        .check(wholeNumber(100));
    command.value("--top", options->limits.top, "Show at most N items of each folder, and N files (default: 10)")
        .valueName("N")
        .check(wholeNumber(100'000));
    command.flag("--issues", options->listsIssues, "List the items that could not be read");
    options->choice.addOptions(command);
    command.flag("--apparent-size", options->showsLengths,
                 "Show how long contents are, not what they take on the disk");
    command.flag("--no-save", options->noSave, "Do not keep the result");
}

}  // namespace KestrelCLI
