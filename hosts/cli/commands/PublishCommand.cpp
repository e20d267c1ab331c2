#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "commands/ServerOptions.hpp"
#include "fleet/Publication.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "report/HostName.hpp"
#include "store/HistoryAccess.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"
#include "terminal/ProgressLine.hpp"

#include "KestrelCore/KestrelCore.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

// A saved scan goes to a column store, where those of many machines are asked together.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct PublishOptions {
    ServerOptions server;
    std::optional<std::string> host;
    std::optional<std::string> volume;
    bool files = false;
    bool folders = false;
    std::int64_t keep = 2;
};

/// The scan of the folder that is named, or the newest of all; scans are published as a whole.
SavedScan scanToPublish(const Session& session, const Operands& operands) {
    if (operands.empty() || session.options.store) return SavedScan::newest(session);
    const std::shared_ptr<const SnapshotHistory> history = openHistory(session);
    const std::vector<Generation> all = scansToAnswerFrom(session, *history);
    const std::vector<Text> paths = meanings(operands.front());
    std::vector<Generation> found;
    std::ranges::copy_if(all, std::back_inserter(found), [&](const Generation& each) {
        return std::ranges::find(paths, each.scope.root.path()) != paths.end();
    });
    if (found.empty()) {
        throw PathError{
            fmt::format("There is no saved scan of {} itself, and a scan is published as a whole: kestrel scan "
                        "makes one.",
                        paths.front().view()),
            paths.front().string()};
    }
    const Generation& asked = chosenByOption(session, found);
    warnOfIncomplete(session, asked, found);
    return SavedScan{history->open(asked.number)};
}

PublicationPlan planFor(const PublishOptions& options, const Generation& scan) {
    PublicationPlan plan{.host = {},
                         .volume = {},
                         .hasFiles = options.files,
                         .keep = static_cast<std::uint32_t>(options.keep),
                         .program = reinterpret_cast<const char*>(KestrelCoreVersionString)};
    if (options.host) {
        plan.host = *options.host;
    } else if (isImported(scan)) {
        // This machine's name would be a wrong one.
        plan.host = scan.source.host ? scan.source.host->string() : std::string{};
    } else {
        plan.host = hostName();
    }
    if (plan.host.empty()) throw UsageError{"Whose disk is it? --host names the machine."};
    plan.volume = options.volume ? *options.volume : scan.scope.root.path().string();
    if (plan.volume.empty()) throw UsageError{"--volume needs a name."};
    return plan;
}

/// What `kestrel suggest` shows in all. Of other disks there is nothing to suggest, nor of a database without a
/// history.
std::vector<PublishedSuggestion> suggestionsOf(const Session& session, const SavedScan& scan,
                                               const CancellationToken& token) {
    std::vector<PublishedSuggestion> published;
    if (session.options.store || isImported(scan.summary())) return published;
    SuggestionSettings settings{.places = ReclaimPlaces::ofThisProcess()};
    settings.mostItems = 0;
    settings.cancellation = token;
    const auto suggestions = scan.suggestions(ReclaimCatalogue::standard(), settings);
    Interruption::check();
    if (!suggestions) throw Interrupted{};
    for (const SuggestionGroup& group : suggestions->groups) {
        published.push_back({.rule = group.rule.identifier.string(),
                             .title = group.rule.title.string(),
                             .certainty = std::string{rawValue(group.rule.certainty)},
                             .items = group.itemCount,
                             .bytes = group.freedBytes});
    }
    return published;
}

/// What is there is there: that earlier rows stay for longer is no failure.
void tidy(const Session& session, Publication& publication) {
    try {
        (void)publication.tidy();
    } catch (const ServerError& error) {
        session.say(fmt::format("It is published. What it replaces could not be cleared: {}", error.what()));
    }
}

void tell(const Session& session, const Server& server, const Generation& scan, const PublicationPlan& plan,
          const PublishedRows& rows) {
    // The root is a record, but not an item in it.
    const std::string what = plan.hasFiles ? ByteFormat::items(std::max<std::int64_t>(0, rows.files - 1))
                                           : fmt::format("the sums of {} folder{}", ByteFormat::count(rows.folders),
                                                         rows.folders == 1 ? "" : "s");
    session.out << fmt::format("Published: {} of {}, {}\n", what, session.shownPath(scan.scope.root.path().view()),
                               session.size(scan.totalAllocatedBytes));
    session.out << session.painted(Style::quiet, fmt::format("as the volume {} of {}, in the database {} of {}",
                                                             session.shown(plan.volume), session.shown(plan.host),
                                                             session.shown(server.address().database),
                                                             session.shown(server.address().name())))
                << '\n';
}

ExitCode publish(const Session& session, const PublishOptions& options, const Operands& operands) {
    if (options.keep == 0) throw UsageError{"--keep 0 would clear what is being published: at least 1."};
    // A command that is wrong is so before there is a scan, too.
    ServerSettings settings = serverSettings(options.server);
    const SavedScan scan = scanToPublish(session, operands);
    const Generation& generation = scan.summary();
    const PublicationPlan plan = planFor(options, generation);
    const auto server = connectedServer(session, std::move(settings));
    Publication publication{*server, plan, generation};
    for (const std::string& sentence : publication.losses()) session.say(sentence);
    PublishedRows rows;
    {
        const InterruptionWatch watch;
        ProgressLine line{session};
        const std::vector<PublishedSuggestion> suggestions = suggestionsOf(session, scan, watch.token());
        rows = publication.send(
            scan.snapshot(), suggestions,
            [&](std::int64_t sent, std::int64_t all) {
                const std::string text =
                    all > 0 ? fmt::format("{} of {} items sent", ByteFormat::count(sent), ByteFormat::count(all))
                            : fmt::format("{} folders sent", ByteFormat::count(sent));
                line.show([&](std::size_t columns) { return session.shortened(text, columns); },
                          ProgressLine::Clock::now());
            },
            watch.token());
    }
    tidy(session, publication);
    if (!session.options.json) {
        tell(session, *server, generation, plan, rows);
        return ExitCode::done;
    }
    JSONOutput json{session.out};
    writeSnapshot(json, "snapshot", generation);
    json.member("host", plan.host);
    json.member("volume", plan.volume);
    // More than a double, as which some programs read numbers, tells apart.
    json.member("publication", fmt::format("{}", rows.publication));
    json.member("rows", rows.folders + rows.files + rows.suggestions);
    json.member("folders", rows.folders);
    json.member("files", rows.files);
    json.member("suggestions", rows.suggestions);
    json.member("sentBytes", rows.bytes);
    json.finish();
    return ExitCode::done;
}

}  // namespace

void addPublishCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<PublishOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "publish",
         .operands = "[PATH]",
         .description = "Sends a saved scan to a column store, where kestrel fleet asks those of many machines.",
         .examples = {"kestrel publish --to https://store.example:8443/kestrel",
                      "kestrel publish --to http://localhost:8123/kestrel --files",
                      "kestrel publish --files --volume projects /srv/projects/a"},
         .mostOperands = 1,
         .operandKind = ValueKind::folder,
         .readsSavedScan = true},
        [&session, options](const Operands& operands) { return publish(session, *options, operands); });
    addServerOptions(command, options->server);
    command.value("--host", options->host, "Publish as this machine (default: this machine’s name)").valueName("NAME");
    command
        .value("--volume", options->volume,
               "Publish as this volume, or as a part of it (default: the path of the scan’s root)")
        .valueName("NAME");
    const CommandOption files = command.flag("--files", options->files, "Send every item, too");
    command.flag("--folders", options->folders, "Send only the sums of each folder (default)").excludes(files);
    command.value("--keep", options->keep, "Keep N scans of this root; earlier ones are cleared (default: 2)")
        .valueName("N")
        .check(wholeNumber(std::numeric_limits<std::uint32_t>::max()));
}

}  // namespace KestrelCLI
