#include "commands/FleetAnswers.hpp"

#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"

#include "KestrelCore/Base/Date.hpp"

#include <fmt/format.h>

#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// As many lines as fit one look, unless more or fewer are asked for.
constexpr std::int64_t usualTop = 20;

/// What a script gets that sets no limit.
constexpr std::int64_t mostRows = 1000;

Date dateOf(std::uint32_t secondsSince1970) {
    return Date{static_cast<double>(secondsSince1970) - Date{0}.secondsSince1970()};
}

std::int64_t rowsWanted(const Session& session, const FleetOptions& options) {
    return options.top.value_or(session.options.json ? mostRows : usualTop);
}

std::string_view changeName(const FleetChange& change) {
    if (!change.existedBefore) return "new";
    if (!change.existsNow) return "gone";
    return change.change() < 0 ? "shrank" : "grew";
}

Table volumeTable(const Session& session, const std::vector<FleetVolume>& volumes, bool showsPublished) {
    std::vector<Table::Column> columns{
        {"HOST", Table::Align::left, true}, {"SIZE", Table::Align::right}, {"ITEMS", Table::Align::right}, {"SCANNED"}};
    if (showsPublished) columns.push_back({"PUBLISHED"});
    columns.push_back({"VOLUME", Table::Align::left, true});
    Table table{columns};
    const Date now = Date::now();
    for (const FleetVolume& volume : volumes) {
        std::string name = session.shown(volume.volume);
        if (!volume.isComplete) name += " (in part: the scan ended early)";
        if (!volume.hasFiles) name += volume.hasSomeFiles ? " (some parts without items)" : " (sums alone)";
        std::vector<Table::Cell> cells{{.text = session.shown(volume.host)},
                                       {.text = session.size(volume.bytes)},
                                       {.text = ByteFormat::count(volume.items), .style = Style::quiet},
                                       {.text = age(dateOf(volume.oldestScan), now), .style = Style::quiet}};
        if (showsPublished) cells.push_back({.text = age(dateOf(volume.lastPublished), now), .style = Style::quiet});
        cells.push_back({.text = std::move(name)});
        table.addRow(std::move(cells));
    }
    return table;
}

/// Where the terminal is narrow, without what can be done without.
void writeVolumes(const Session& session, const std::vector<FleetVolume>& volumes) {
    const Table table = volumeTable(session, volumes, true);
    const bool isTooWide = session.columns() > 0 && table.leastWidth() > session.columns();
    (isTooWide ? volumeTable(session, volumes, false) : table).write(session);
}

/// "3 of 18 published scans", and what is so of them.
std::string ofPublished(std::uint64_t some, const FleetCoverage& coverage, std::string_view one,
                        std::string_view several) {
    if (coverage.publications == 1) return fmt::format("The published scan {}", one);
    return fmt::format("{} of {} published scans {}", ByteFormat::count(static_cast<std::int64_t>(some)),
                       ByteFormat::count(static_cast<std::int64_t>(coverage.publications)), some == 1 ? one : several);
}

}  // namespace

void sayNothing(const Session& session, Server& server, const FleetSelection& selection, std::string_view otherwise) {
    const std::string absence = selection.absence(server);
    session.say(absence.empty() ? otherwise : std::string_view{absence});
}

void sayWhatIsMissing(const Session& session, const FleetCoverage& coverage, bool isSearch) {
    if (coverage.unfinished > 0) {
        session.say(ofPublished(coverage.unfinished, coverage, "ended early", "ended early") +
                    ": what such a scan did not reach is missing. kestrel fleet hosts says which.");
    }
    if (isSearch && coverage.withoutFiles > 0 && coverage.withoutFiles < coverage.publications) {
        session.say(ofPublished(coverage.withoutFiles, coverage, "has", "have") +
                    " only sums of folders, no items to search: kestrel publish --files sends those. kestrel fleet "
                    "hosts says which.");
    }
}

ExitCode fleetTop(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    const std::vector<FleetFolder> folders = largestFolders(*server, options.selection, rowsWanted(session, options));
    if (folders.empty() && rowsWanted(session, options) > 0)
        sayNothing(session, *server, options.selection, "There are no folders with anything in them.");
    sayWhatIsMissing(session, coverageOf(*server, options.selection), false);
    if (session.options.json) {
        JSONOutput json{session.out};
        json.beginArray("rows");
        for (const FleetFolder& folder : folders) {
            json.beginObject();
            json.member("host", folder.host);
            json.member("volume", folder.volume);
            json.member("path", folder.path);
            json.member("bytes", folder.bytes);
            json.member("items", folder.items);
            json.endObject();
        }
        json.endArray();
        json.finish();
        return ExitCode::done;
    }
    if (folders.empty()) return ExitCode::done;
    Table table{{{"SIZE", Table::Align::right},
                 {"ITEMS", Table::Align::right},
                 {"HOST", Table::Align::left, true},
                 {"PATH", Table::Align::left, true}}};
    for (const FleetFolder& folder : folders)
        table.addRow({{.text = session.size(folder.bytes)},
                      {.text = ByteFormat::count(static_cast<std::int64_t>(folder.items)), .style = Style::quiet},
                      {.text = session.shown(folder.host)},
                      {.text = session.shown(folder.path), .style = Style::folder}});
    table.write(session);
    return ExitCode::done;
}

ExitCode fleetGrowth(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    const std::vector<FleetChange> changes = changedFolders(*server, options.selection, rowsWanted(session, options));
    if (changes.empty() && rowsWanted(session, options) > 0) {
        const bool isTold = earlierScans(*server, options.selection) > 0;
        sayNothing(session, *server, options.selection,
                   isTold
                       ? "Nothing has changed between the last two scans that were published."
                       : "Growth is told from the second whole scan of a folder on, and there is no second one yet.");
    }
    if (session.options.json) {
        JSONOutput json{session.out};
        json.beginArray("rows");
        for (const FleetChange& change : changes) {
            json.beginObject();
            json.member("host", change.host);
            json.member("volume", change.volume);
            json.member("path", change.path);
            json.member("before", change.before);
            json.member("after", change.after);
            json.member("change", change.change());
            json.member("what", changeName(change));
            json.endObject();
        }
        json.endArray();
        json.finish();
        return ExitCode::done;
    }
    if (changes.empty()) return ExitCode::done;
    Table table{{{"CHANGE", Table::Align::right},
                 {"SIZE", Table::Align::right},
                 {"WHAT"},
                 {"HOST", Table::Align::left, true},
                 {"PATH", Table::Align::left, true}}};
    for (const FleetChange& change : changes) {
        const std::string sign = change.change() < 0 ? "-" : "+";
        const std::int64_t size = change.change() < 0 ? -change.change() : change.change();
        table.addRow({{.text = sign + session.size(size)},
                      {.text = session.size(change.after), .style = Style::quiet},
                      {.text = std::string{changeName(change)}, .style = Style::quiet},
                      {.text = session.shown(change.host)},
                      {.text = session.shown(change.path), .style = Style::folder}});
    }
    table.write(session);
    return ExitCode::done;
}

ExitCode fleetHosts(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    std::vector<FleetVolume> volumes = publishedVolumes(*server, options.selection);
    if (volumes.empty()) sayNothing(session, *server, options.selection, "Nothing is published.");
    // All machines, where nobody asks for fewer.
    const auto all = std::ssize(volumes);
    if (options.top && std::ssize(volumes) > *options.top)
        volumes.erase(volumes.begin() + static_cast<std::ptrdiff_t>(*options.top), volumes.end());
    if (session.options.json) {
        JSONOutput json{session.out};
        json.beginArray("rows");
        for (const FleetVolume& volume : volumes) {
            json.beginObject();
            json.member("host", volume.host);
            json.member("volume", volume.volume);
            json.member("parts", volume.parts);
            json.member("items", volume.items);
            json.member("bytes", volume.bytes);
            json.member("issues", volume.issues);
            json.member("isComplete", volume.isComplete);
            json.member("hasFiles", volume.hasFiles);
            writeDate(json, "scannedAt", dateOf(volume.oldestScan));
            writeDate(json, "publishedAt", dateOf(volume.lastPublished));
            json.endObject();
        }
        json.endArray();
        json.finish();
        return ExitCode::done;
    }
    if (volumes.empty()) return ExitCode::done;
    writeVolumes(session, volumes);
    if (std::ssize(volumes) < all) {
        session.out << '\n'
                    << session.painted(Style::quiet,
                                       fmt::format("{} of {} volumes (see --top)",
                                                   ByteFormat::count(std::ssize(volumes)), ByteFormat::count(all)))
                    << '\n';
    }
    return ExitCode::done;
}

}  // namespace KestrelCLI
