#include "commands/Commands.hpp"

#include "commands/FleetAnswers.hpp"
#include "commands/OptionValue.hpp"
#include "commands/SearchHints.hpp"
#include "commands/Suggestion.hpp"
#include "fleet/FleetSearchRun.hpp"
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

/// As many lines as are shown unless more or fewer are asked for.
constexpr std::int64_t usualResults = 100;

void writeFindings(const Session& session, const FleetFindings& findings, const SearchExplanation& understood) {
    std::vector<Text> words = understood.terms;
    words.insert(words.end(), understood.pathTerms.begin(), understood.pathTerms.end());
    Table table{{{"SIZE", Table::Align::right},
                 {"MODIFIED"},
                 {"KIND"},
                 {"HOST", Table::Align::left, true},
                 {"PATH", Table::Align::left, true}}};
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
    const FleetCoverage coverage = coverageOf(*server, options.selection);
    if (findings.matches == 0) {
        sayNothing(session, *server, options.selection,
                   coverage.withoutFiles < coverage.publications
                       ? "Nothing that is published answers that search."
                       : "Only sums of folders are published, no items to search: kestrel publish --files sends "
                         "those.");
    }
    sayWhatIsMissing(session, coverage, true);
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
    if (question != "top" && question != "growth" && question != "hosts") {
        const std::string meant = didYouMeanOneOf(question, {"top", "growth", "search", "hosts"});
        throw UsageError{fmt::format("“{}” is no question to a fleet; top, growth, search and hosts are.{}{}", question,
                                     meant.empty() ? "" : " ", meant)};
    }
    if (operands.size() > 1)
        throw UsageError{fmt::format("fleet {} takes no further words; fleet search WORDS looks for items.", question)};
    refuseSearchOptions(options, question);
    if (question == "top") return fleetTop(session, options);
    return question == "growth" ? fleetGrowth(session, options) : fleetHosts(session, options);
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
