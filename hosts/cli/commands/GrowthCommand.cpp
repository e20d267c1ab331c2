#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/GrowthTree.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Times.hpp"
#include "store/HistoryAccess.hpp"
#include "store/MissingScan.hpp"
#include "store/SavedScan.hpp"
#include "store/ScanLikeness.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Storage/Growth.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

// Compares two saved scans. Which two: the newest that knows the path and the one before it of the same root, unless
// options name others; those may have other roots, as long as one holds the other.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct ChangeOptions {
    std::optional<std::string> since;
    std::optional<std::string> until;
    std::optional<std::size_t> depth;
    std::optional<std::size_t> top;
};

/// As many lines as fit one look, unless more or fewer are asked for.
constexpr std::size_t usualTop = 20;

std::string_view nameOf(GrowthChangeKind what) {
    switch (what) {
    case GrowthChangeKind::grew: return "grew";
    case GrowthChangeKind::shrank: return "shrank";
    case GrowthChangeKind::appeared: return "new";
    case GrowthChangeKind::gone: return "gone";
    case GrowthChangeKind::moved: break;
    }
    return "moved";
}

/// The one that the option `name` means; throws an exception with a finished sentence where it means none.
const Generation& meant(const std::vector<Generation>& generations, const char* name, const std::string& value,
                        Date now) {
    if (const Generation* found = chosen(generations, whenOption(value, now))) return *found;
    throw std::runtime_error{
        fmt::format("{} {} means no saved scan that could be compared; kestrel history lists all.", name, value)};
}

std::vector<Generation> only(const std::vector<Generation>& generations, const auto& matches) {
    std::vector<Generation> result;
    std::ranges::copy_if(generations, std::back_inserter(result), matches);
    return result;
}

struct Compared {
    Generation since;
    Generation until;
};

/// The first that came to its end; where none has, the first: what was not reached would look as if it were gone.
std::vector<Generation>::const_iterator firstWhole(std::vector<Generation>::const_iterator begin,
                                                   std::vector<Generation>::const_iterator end) {
    const auto found = std::find_if(begin, end, [](const Generation& each) { return each.isComplete; });
    return found == end ? begin : found;
}

/// The newest whole one of a folder that was scanned before: a first scan of a folder above would hide what is known of
/// this one. Where there is none, the newest.
std::vector<Generation>::const_iterator newestWithAnEarlierOne(const std::vector<Generation>& generations) {
    const auto hasEarlier = [&](const Generation& one) {
        return std::ranges::any_of(generations, [&](const Generation& other) {
            return other.isComplete && other.number < one.number && other.scope.root.path() == one.scope.root.path();
        });
    };
    const auto found =
        std::ranges::find_if(generations, [&](const Generation& each) { return each.isComplete && hasEarlier(each); });
    return found == generations.end() ? firstWhole(generations.begin(), generations.end()) : found;
}

/// `generations` are those that know of what is asked about, newest first and at least one.
Compared choose(const ChangeOptions& options, const std::vector<Generation>& generations) {
    const Date now = Date::now();
    const Generation& until =
        options.until ? meant(generations, "--until", *options.until, now) : *newestWithAnEarlierOne(generations);
    const Text root = until.scope.root.path();
    const std::vector<Generation> alike =
        only(generations, [&](const Generation& each) { return each.scope.root.path() == root; });
    if (options.since) {
        const When when = whenOption(*options.since, now);
        // A point in time means a scan of the same folder where there is one.
        const Generation* found = std::holds_alternative<Date>(when) ? chosen(alike, when) : nullptr;
        const Generation& since = found != nullptr ? *found : meant(generations, "--since", *options.since, now);
        if (since.number > until.number) {
            throw UsageError{fmt::format("--since names scan {}, which is newer than scan {} to compare it with.",
                                         since.number, until.number)};
        }
        return {since, until};
    }
    // What one that was ended early did not reach would look as if it were new.
    const auto before = std::ranges::find_if(
        alike, [&](const Generation& each) { return each.isComplete && each.number < until.number; });
    if (before == alike.end()) {
        throw std::runtime_error{fmt::format("There is no earlier whole scan of {} than {}, from {}: scan again later, "
                                             "and kestrel growth tells what changed.",
                                             root.view(), until.number, localTime(until.completedAt))};
    }
    return {*before, until};
}

void writeJSON(const Session& session, const Growth& growth) {
    JSONOutput json{session.out};
    writeSnapshot(json, "since", growth.since);
    writeSnapshot(json, "until", growth.until);
    json.member("path", growth.path.view());
    json.member("totalChange", growth.totalChange());
    json.beginArray("changes");
    for (const GrowthChange& change : growth.changes) {
        json.beginObject();
        json.member("path", change.path.view());
        json.member("kind", KestrelCLI::nameOf(change.kind));
        json.member("before", change.before);
        json.member("after", change.after);
        json.member("change", change.change());
        json.member("items", change.items);
        json.member("what", nameOf(change.what));
        if (change.movedFrom) json.member("movedFrom", change.movedFrom->view());
        json.endObject();
    }
    json.endArray();
    json.finish();
}

/// The scans of this disk, or, where the options name one that was imported, what was imported under that name, and
/// what else they name. A name in the options becomes the number of the newest of that name.
std::vector<Generation> scansToCompare(const SnapshotHistory& history, ChangeOptions& options) {
    const std::vector<Generation> all = history.generations();
    std::vector<Text> series;
    for (auto* when : {&options.since, &options.until}) {
        if (!*when) continue;
        const std::vector<Generation> named = importsNamed(**when, all);
        // A word that means no time is wrong whatever is saved.
        if (named.empty()) {
            (void)whenOption(**when, Date::now());
            continue;
        }
        series.push_back(*named.front().source.name);
        *when = std::to_string(named.front().number);
    }
    return only(all, [&](const Generation& each) {
        if (isImported(each)) return std::ranges::find(series, *each.source.name) != series.end();
        return series.empty() || options.since.has_value();
    });
}

ExitCode growth(const Session& session, ChangeOptions options, const Operands& operands) {
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> all = scansToCompare(*history, options);
    if (all.empty()) throw std::runtime_error{noScanYet(session)};
    std::optional<Growth> found;
    std::optional<Compared> compared;
    // A script gets everything unless it sets a limit itself.
    const GrowthOptions limits{.depth = options.depth,
                               .most =
                                   session.options.json ? options.top : std::optional{options.top.value_or(usualTop)}};
    const auto compare = [&](const std::vector<Generation>& generations, const std::optional<Text>& path) {
        compared = choose(options, generations);
        for (const Generation* each : {&compared->since, &compared->until}) warnOfIncomplete(session, *each);
        found = history->growth(compared->since.number, compared->until.number, path, limits);
        Interruption::check();
    };
    if (operands.empty()) {
        compare(all, std::nullopt);
        const auto newest = firstWhole(all.begin(), all.end());
        if (!options.until && newest->scope.root.path() != compared->until.scope.root.path()) {
            session.say(fmt::format("The newest scan, of {}, has no earlier one to compare it with; this is of {}.",
                                    newest->scope.root.path().view(), compared->until.scope.root.path().view()));
        }
    } else {
        for (const Text& path : meanings(operands.front())) {
            const auto covering = only(all, [&](const Generation& each) { return covers(each, path); });
            if (!covering.empty()) compare(covering, path);
            if (found) break;
        }
    }
    if (!compared) {
        throw PathError{noScanOf(meanings(operands.front()).front().view()), operands.front()};
    }
    if (!found) {
        throw std::runtime_error{operands.empty()
                                     ? fmt::format("Scans {} and {} are of different folders.", compared->since.number,
                                                   compared->until.number)
                                     : fmt::format("{} is in neither of scans {} and {}.", operands.front(),
                                                   compared->since.number, compared->until.number)};
    }
    if (session.options.json) {
        writeJSON(session, *found);
        return ExitCode::done;
    }
    warnOfUnlike(session, found->since, found->until);
    const Date now = Date::now();
    const auto describe = [&](const Generation& scan) {
        return fmt::format("scan {}, {} ({})", scan.number, localTime(scan.completedAt), age(scan.completedAt, now));
    };
    session.out << session.painted(Style::quiet,
                                   fmt::format("From {}\nto   {}", describe(found->since), describe(found->until)))
                << "\n\n";
    writeGrowth(session, *found);
    if (found->changes.empty()) session.out << "\nNothing has changed in size.\n";
    return ExitCode::done;
}

}  // namespace

void addGrowthCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<ChangeOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "growth",
                    .operands = "[PATH]",
                    .description = "Shows what grew, shrank, is new and is gone between two saved scans.",
                    .examples = {"kestrel growth", "kestrel growth --since 7d ~/Downloads",
                                 "kestrel growth --since 12 --until 15 --depth 2", "kestrel growth --json --top 5"},
                    .mostOperands = 1,
                    .operandKind = ValueKind::folder},
                   [&session, options](const Operands& operands) { return growth(session, *options, operands); });
    command
        .value("--since", options->since,
               "Compare with this scan: a number from kestrel history, a date, or an age such as 7d (default: the "
               "one before)")
        .valueName("WHEN")
        .check(takes(ValueKind::scan));
    command.value("--until", options->until, "Take this one as the later of the two (default: the newest)")
        .valueName("WHEN")
        .check(takes(ValueKind::scan));
    command.value("-d,--depth", options->depth, "Sum up what lies deeper than N levels of folders")
        .valueName("N")
        .check(wholeNumber());
    command.value("--top", options->top, fmt::format("Show at most N changes (default: {})", usualTop))
        .valueName("N")
        .check(wholeNumber());
}

}  // namespace KestrelCLI
