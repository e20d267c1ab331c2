#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "commands/SearchFilterOptions.hpp"
#include "commands/SearchHints.hpp"
#include "commands/ServerOptions.hpp"
#include "fleet/FleetFolders.hpp"
#include "fleet/FleetSearchRun.hpp"
#include "fleet/FleetSelection.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/SearchMarks.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"

#include "KestrelCore/Base/Date.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What many machines have published, asked of the store that holds it: `top`, `growth` and `hosts` read its views, and
// `search` is the search of one machine, translated. All print as the commands of one machine do, with a column more.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct FleetOptions {
    ServerOptions server;
    FleetSelection selection;
    std::optional<std::int64_t> top;
    SearchFilterOptions filter;
    std::optional<SearchOrder> order;
    bool counts = false;
    bool isLiteral = false;
};

/// As many lines as fit one look, unless more or fewer are asked for.
constexpr std::int64_t usualTop = 20;
constexpr std::int64_t usualResults = 100;

/// What a script gets that sets no limit.
constexpr std::int64_t mostRows = 1000;

Date dateOf(std::uint32_t secondsSince1970) {
    return Date{static_cast<double>(secondsSince1970) - Date{0}.secondsSince1970()};
}

std::int64_t rowsWanted(const Session& session, const FleetOptions& options) {
    return options.top.value_or(session.options.json ? mostRows : usualTop);
}

/// Says why there is nothing to show.
void sayNothing(const Session& session, Server& server, const FleetSelection& selection, std::string_view otherwise) {
    const std::string absence = selection.absence(server);
    session.say(absence.empty() ? otherwise : std::string_view{absence});
}

ExitCode top(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    const std::vector<FleetFolder> folders = largestFolders(*server, options.selection, rowsWanted(session, options));
    if (folders.empty()) sayNothing(session, *server, options.selection, "There are no folders with anything in them.");
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
    Table table{
        {{"SIZE", Table::Align::right}, {"ITEMS", Table::Align::right}, {"HOST"}, {"PATH", Table::Align::left, true}}};
    for (const FleetFolder& folder : folders)
        table.addRow({{.text = session.size(folder.bytes)},
                      {.text = ByteFormat::count(static_cast<std::int64_t>(folder.items)), .style = Style::quiet},
                      {.text = session.shown(folder.host)},
                      {.text = session.shown(folder.path), .style = Style::folder}});
    table.write(session);
    return ExitCode::done;
}

std::string_view changeName(const FleetChange& change) {
    if (!change.existedBefore) return "new";
    if (!change.existsNow) return "gone";
    return change.change() < 0 ? "shrank" : "grew";
}

ExitCode growth(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    const std::vector<FleetChange> changes = changedFolders(*server, options.selection, rowsWanted(session, options));
    if (changes.empty())
        sayNothing(session, *server, options.selection,
                   "Nothing has changed between two publications of a folder; growth is told from the second one on.");
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
                 {"HOST"},
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

ExitCode hosts(const Session& session, const FleetOptions& options) {
    const auto server = connectedServer(session, serverSettings(options.server));
    std::vector<FleetVolume> volumes = publishedVolumes(*server, options.selection);
    if (volumes.empty()) sayNothing(session, *server, options.selection, "Nothing is published.");
    // All machines, where nobody asks for fewer.
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
    Table table{{{"HOST"},
                 {"SIZE", Table::Align::right},
                 {"ITEMS", Table::Align::right},
                 {"SCANNED"},
                 {"PUBLISHED"},
                 {"VOLUME", Table::Align::left, true}}};
    const Date now = Date::now();
    for (const FleetVolume& volume : volumes) {
        std::string name = session.shown(volume.volume);
        if (!volume.isComplete) name += " (in part: the scan ended early)";
        table.addRow({{.text = session.shown(volume.host)},
                      {.text = session.size(volume.bytes)},
                      {.text = ByteFormat::count(static_cast<std::int64_t>(volume.items)), .style = Style::quiet},
                      {.text = age(dateOf(volume.oldestScan), now), .style = Style::quiet},
                      {.text = age(dateOf(volume.lastPublished), now), .style = Style::quiet},
                      {.text = std::move(name)}});
    }
    table.write(session);
    return ExitCode::done;
}

void writeFindings(const Session& session, const FleetFindings& findings, const SearchExplanation& understood) {
    std::vector<Text> words = understood.terms;
    words.insert(words.end(), understood.pathTerms.begin(), understood.pathTerms.end());
    Table table{{{"SIZE", Table::Align::right}, {"MODIFIED"}, {"KIND"}, {"HOST"}, {"PATH", Table::Align::left, true}}};
    const Date now = Date::now();
    for (const FleetMatch& match : findings.results) {
        const FileRecord& record = match.item.record;
        const Style style = record.isContainer() ? Style::folder : Style::file;
        table.addRow(
            {{.text = session.size(record.displayBytes())},
             {.text = record.modifiedAt() ? age(*record.modifiedAt(), now) : "-", .style = Style::quiet},
             {.text = std::string{nameOf(record.kind())}, .style = Style::quiet},
             {.text = session.shown(match.item.host)},
             {.text = session.shown(record.path().view()),
              .style = style,
              .paint = [style, &words](std::string_view shown) { return withSearchMarks(shown, style, words); }}});
    }
    table.write(session);
    const auto shown = static_cast<std::int64_t>(findings.results.size());
    const std::string sum = shown < findings.matches ? fmt::format("{} of {} (see --top)", ByteFormat::count(shown),
                                                                   ByteFormat::items(findings.matches))
                                                     : ByteFormat::items(shown);
    session.out << '\n' << session.painted(Style::quiet, sum) << '\n';
}

void writeFindingsJSON(const Session& session, const FleetFindings& findings, bool hasRows) {
    JSONOutput json{session.out};
    json.member("matches", findings.matches);
    if (hasRows) {
        json.beginArray("rows");
        for (const FleetMatch& match : findings.results) {
            json.beginObject();
            json.member("host", match.item.host);
            json.member("volume", match.item.volume);
            writeRecordMembers(json, match.item.record);
            json.member("score", match.score);
            json.endObject();
        }
        json.endArray();
    }
    json.finish();
}

ExitCode search(const Session& session, const FleetOptions& options, const Operands& words) {
    const Date now = Date::now();
    const std::string query = fmt::format("{}", fmt::join(words, " "));
    const std::vector<SearchFilterOptions::Part> parts = options.filter.parts(now);
    if (Text{query}.splitAtWhiteSpace().empty() && parts.empty())
        throw UsageError{"fleet search needs words, or options such as --type video and --min 1GB."};
    const bool isForScripts = options.counts || session.options.json;
    weighWords(session, query, isForScripts ? SearchReader::script : SearchReader::person,
               options.isLiteral ? DoubtfulWords::taken : DoubtfulWords::questioned);
    const FleetSearch question{SearchQuery{Text{query}}, together(parts), now};
    const auto server = connectedServer(session, serverSettings(options.server));
    const std::int64_t limit = options.counts ? 0 : options.top.value_or(usualResults);
    const FleetFindings findings =
        searchFleet(*server, question, options.selection, options.order.value_or(SearchOrder::score), limit);
    if (findings.matches == 0) {
        bool hasFiles = false;
        std::vector<std::string> texts;
        const std::string selected = options.selection.condition(texts);
        server->query<std::uint64_t>(
            fmt::format("SELECT MARK, count() AS lines FROM current WHERE has_files = 1{}", selected), texts,
            [&](std::uint64_t lines) { hasFiles = lines > 0; });
        sayNothing(session, *server, options.selection,
                   hasFiles ? "Nothing that is published answers that search."
                            : "Only sums of folders are published, no items to search: kestrel publish --files sends "
                              "those.");
    }
    if (session.options.json) {
        writeFindingsJSON(session, findings, !options.counts);
    } else if (options.counts) {
        session.out << findings.matches << '\n';
    } else if (!findings.results.empty()) {
        writeFindings(session, findings, question.explanation());
    }
    return ExitCode::done;
}

/// The options that only a search takes are not passed over elsewhere.
void refuseSearchOptions(const FleetOptions& options, const std::string& question) {
    if (options.filter.parts(Date::now()).empty() && !options.order && !options.counts && !options.isLiteral) return;
    throw UsageError{
        fmt::format("fleet {} takes --host, --volume, --top and the options of the server; the others are for fleet "
                    "search.",
                    question)};
}

ExitCode fleet(const Session& session, const FleetOptions& options, const Operands& operands) {
    const std::string& question = operands.front();
    if (question == "search") return search(session, options, {operands.begin() + 1, operands.end()});
    if (question != "top" && question != "growth" && question != "hosts")
        throw UsageError{fmt::format("“{}” is no question to a fleet; top, growth, search and hosts are.", question)};
    if (operands.size() > 1)
        throw UsageError{fmt::format("fleet {} takes no further words; fleet search WORDS looks for items.", question)};
    refuseSearchOptions(options, question);
    if (question == "top") return top(session, options);
    return question == "growth" ? growth(session, options) : hosts(session, options);
}

}  // namespace

void addFleetCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<FleetOptions>();
    const CommandOptions command = addCommand(
        app,
        {.name = "fleet",
         .operands = "top|growth|search|hosts [WORDS…]",
         .description = "Asks what many machines have published: the largest folders, what grew, items, the machines.",
         .examples = {"kestrel fleet hosts --to https://store.example:8443/kestrel",
                      "kestrel fleet top --to http://localhost:8123/kestrel --top 50",
                      "kestrel fleet growth --host web1", "kestrel fleet search huge videos --older-than 1y",
                      "kestrel fleet search core.dump --sort size --json"},
         .fewestOperands = 1,
         .mostOperands = Command::unlimited,
         .takesWords = true},
        [&session, options](const Operands& operands) { return fleet(session, *options, operands); });
    addServerOptions(command, options->server);
    command.value("--host", options->selection.host, "Only of this machine").valueName("NAME");
    command.value("--volume", options->selection.volume, "Only of this volume").valueName("NAME");
    command.value("--top,--limit", options->top, "Show at most N (default: 20 folders, 100 items, all machines)")
        .valueName("N")
        .check(wholeNumber());
    options->filter.addTo(command);
    const std::map<std::string, SearchOrder> orders{{"score", SearchOrder::score},
                                                    {"size", SearchOrder::size},
                                                    {"date", SearchOrder::date},
                                                    {"name", SearchOrder::name}};
    command
        .choice("--sort", options->order, orders, "Order items by score (default), size, date (newest first) or name")
        .valueName("ORDER");
    command.flag("--count", options->counts, "Print only how many items there are");
    command.flag("--literal", options->isLiteral, "Look for words as they stand that look like mistyped filters");
}

}  // namespace KestrelCLI
