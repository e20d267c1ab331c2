#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "commands/SearchFilterOptions.hpp"
#include "commands/SearchHints.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/SearchMarks.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
#include "store/HistoryAccess.hpp"
#include "store/MissingScan.hpp"
#include "store/SavedScan.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/InterruptionWatch.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Model/SearchQuery.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The library understands the query, searches and ranks; here its answer gets one of four forms. All of them come from
// the same answer, so that the scores, the explanation and the results can't tell different stories:
//
//     a table            size, age, kind and path, with the words that were found marked in the paths
//     --explain          the same below a list of what each word was taken for
//     --print0           paths alone, for xargs -0; hints and refusals go to standard error and stay out of the way
//     --count            how many there are, alone
//     --json             all of it
//
// Where a person looks, a word that may be a mistyped filter is a hint beside the result. A script does not read it and
// might go on with far too much: there it is an error.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct SearchOptions {
    SearchFilterOptions filter;
    SearchOrder order = SearchOrder::score;
    std::int64_t limit = 100;
    bool explain = false;
    bool print0 = false;
    bool counts = false;
    bool isLiteral = false;
};

/// What a search was asked for.
struct Request {
    std::string words;
    std::vector<SearchFilterOptions::Part> parts;
    SearchSettings settings;
};

template <typename Texts>
void writeTexts(JSONOutput& json, std::string_view key, const Texts& texts) {
    json.beginArray(key);
    for (const Text& text : texts) json.element(text.view());
    json.endArray();
}

/// What the options ask for beside the words.
void writeFilter(JSONOutput& json, const SearchFilter& filter) {
    json.beginObject("filter");
    if (filter.minimumBytes > 0) json.member("minimumBytes", filter.minimumBytes);
    json.member("maximumBytes", filter.maximumBytes);
    if (filter.modifiedAfter) writeDate(json, "modifiedAfter", *filter.modifiedAfter);
    if (filter.modifiedBefore) writeDate(json, "modifiedBefore", *filter.modifiedBefore);
    json.beginArray("types");
    for (const ItemCategory category : filter.categories) json.element(ItemCategories::nameOf(category));
    for (const FileKind kind : filter.kinds) json.element(nameOf(kind));
    json.endArray();
    writeTexts(json, "extensions", filter.extensions);
    writeTexts(json, "inFolders", filter.inFolders);
    writeTexts(json, "notInFolders", filter.notInFolders);
    writeTexts(json, "wordsInPath", filter.wordsInPath);
    writeTexts(json, "wordsNotInPath", filter.wordsNotInPath);
    json.endObject();
}

/// The snapshot, how the words and options were understood, how much answers, and the results with their scores.
void writeJSON(const Session& session, const Generation& scan, const Request& request, const SearchAnswer& answer,
               bool hasResults) {
    const SearchExplanation& understood = answer.explanation;
    JSONOutput json{session.out};
    writeSnapshot(json, "snapshot", scan);
    json.beginObject("query");
    writeTexts(json, "terms", understood.terms);
    json.beginArray("kinds");
    for (const FileKind kind : understood.kinds) json.element(nameOf(kind));
    json.endArray();
    writeTexts(json, "extensions", understood.extensions);
    writeTexts(json, "pathTerms", understood.pathTerms);
    json.member("minimumBytes", understood.minimumBytes);
    json.member("maximumBytes", understood.maximumBytes);
    if (understood.modifiedAfter) writeDate(json, "modifiedAfter", *understood.modifiedAfter);
    if (understood.modifiedBefore) writeDate(json, "modifiedBefore", *understood.modifiedBefore);
    json.member("hiddenOnly", understood.hiddenOnly);
    json.endObject();
    if (!request.parts.empty()) writeFilter(json, request.settings.filter);
    json.member("matches", answer.matches);
    json.member("matchedBytes", answer.matchedBytes);
    if (!hasResults) return json.finish();
    json.beginArray("results");
    for (const ScoredRecord& result : answer.results) {
        json.beginObject();
        writeRecordMembers(json, result.record);
        json.member("score", result.score);
        json.endObject();
    }
    json.endArray();
    json.finish();
}

template <typename Texts>
std::string joined(const Session& session, const Texts& texts) {
    std::vector<std::string> shown;
    for (const Text& text : texts) shown.push_back("\"" + session.shown(text.view()) + "\"");
    return fmt::format("{}", fmt::join(shown, ", "));
}

/// How the query was understood, a line for each part that it has.
void writeExplanation(const Session& session, const SearchExplanation& understood, const Request& request) {
    const auto line = [&](std::string_view what, const std::string& value) {
        session.out << session.painted(Style::quiet, fmt::format("{:<17}", what)) << value << '\n';
    };
    if (!understood.terms.empty()) line("words", joined(session, understood.terms));
    if (!understood.pathTerms.empty()) line("in the path", joined(session, understood.pathTerms));
    if (!understood.kinds.empty()) {
        std::vector<std::string_view> kinds;
        for (const FileKind kind : understood.kinds) kinds.push_back(nameOf(kind));
        line("kinds", fmt::format("{}", fmt::join(kinds, ", ")));
    }
    if (!understood.extensions.empty()) line("extensions", joined(session, understood.extensions));
    if (understood.minimumBytes > 0) line("at least", session.size(understood.minimumBytes));
    if (understood.maximumBytes) line("at most", session.size(*understood.maximumBytes));
    if (understood.modifiedAfter) line("modified since", localTime(*understood.modifiedAfter));
    if (understood.modifiedBefore) line("modified before", localTime(*understood.modifiedBefore));
    if (understood.hiddenOnly) line("hidden items", "only");
    for (const SearchFilterOptions::Part& part : request.parts) line("option", session.shown(part.written));
    session.out << '\n';
}

void writeTable(const Session& session, const SearchAnswer& answer, bool hasScores) {
    // Both kinds of words may have been found in a path; filters such as ext: have nothing in it to mark.
    std::vector<Text> words = answer.explanation.terms;
    words.insert(words.end(), answer.explanation.pathTerms.begin(), answer.explanation.pathTerms.end());
    std::vector<Table::Column> columns = {{"SIZE", Table::Align::right}, {"MODIFIED"}, {"KIND"}};
    if (hasScores) columns.insert(columns.begin(), {"SCORE", Table::Align::right});
    columns.push_back({"PATH", Table::Align::left, true});
    Table table{columns};
    const Date now = Date::now();
    for (const ScoredRecord& result : answer.results) {
        const FileRecord& record = result.record;
        const Style style = record.isContainer() ? Style::folder : Style::file;
        std::vector<Table::Cell> cells;
        if (hasScores) cells.push_back({.text = std::to_string(result.score), .style = Style::quiet});
        cells.push_back({.text = session.size(record.displayBytes())});
        cells.push_back({.text = record.modifiedAt() ? age(*record.modifiedAt(), now) : "-", .style = Style::quiet});
        cells.push_back({.text = std::string{nameOf(record.kind())}, .style = Style::quiet});
        cells.push_back(
            {.text = session.shownPath(record.path().view()),
             .style = style,
             .paint = [style, &words](std::string_view shown) { return withSearchMarks(shown, style, words); }});
        table.addRow(std::move(cells));
    }
    table.write(session);
}

/// How many there are beside how many are shown, and how much they take.
void writeSum(const Session& session, const SearchAnswer& answer) {
    const auto shown = static_cast<std::int64_t>(answer.results.size());
    std::string text = shown < answer.matches
                           ? fmt::format("{} of {} items", ByteFormat::count(shown), ByteFormat::count(answer.matches))
                           : fmt::format("{} {}", ByteFormat::count(shown), shown == 1 ? "item" : "items");
    if (answer.matchedBytes) text += fmt::format(", {} altogether", session.size(*answer.matchedBytes));
    if (shown < answer.matches) text += " (see --limit)";
    session.out << '\n' << session.painted(Style::quiet, text) << '\n';
}

/// What is to be said of folders that the scan does not have; empty where it has all of them, or none are asked for.
std::string missingPlaces(const SavedScan& scan, const SearchFilter& filter) {
    std::vector<std::string> sentences;
    for (const Text& folder : filter.inFolders) {
        if (!covers(scan.summary(), folder)) {
            sentences.push_back(fmt::format(" {} lies outside of it.", folder.view()));
        } else if (!scan.record(folder)) {
            const auto pattern = patternLeavingOut(scan.summary(), folder);
            sentences.push_back(
                pattern ? fmt::format(" {} is not in it, as {} was left out.", folder.view(), pattern->view())
                        : fmt::format(" {} is not in it.", folder.view()));
        }
    }
    return sentences.size() == filter.inFolders.size() ? fmt::format("{}", fmt::join(sentences, "")) : "";
}

/// That nothing was found, and which words and options find nothing alone.
std::string nothingFound(const SavedScan& scan, const Request& request) {
    const std::string sentence =
        fmt::format("Nothing in the scan of {} from {} answers that search.", scan.summary().scope.root.path().view(),
                    localTime(scan.summary().completedAt));
    if (std::string missing = missingPlaces(scan, request.settings.filter); !missing.empty()) return sentence + missing;
    const std::vector<Text> words = Text{request.words}.splitAtWhiteSpace();
    if (words.size() + request.parts.size() < 2) {
        if (words.empty()) return sentence + fmt::format(" No item in it passes “{}”.", request.parts.front().written);
        const SearchExplanation word = SearchExplanation::of(SearchQuery{words.front()}, *request.settings.now);
        return sentence + fmt::format(fmt::runtime(word.terms.empty() ? " No item in it passes “{}”."
                                                                      : " No path in it has “{}”, or nearly so."),
                                      words.front().view());
    }
    const auto findsNothing = [&](const Text& text, const SearchFilter& filter) {
        const auto answer = scan.search(SearchQuery{text}, 1,
                                        {.cancellation = request.settings.cancellation,
                                         .now = request.settings.now,
                                         .filter = filter,
                                         .order = SearchOrder::score});
        if (!answer) throw Interrupted{};
        return answer->matches == 0;
    };
    std::vector<std::string> vain;
    for (const Text& word : words) {
        if (findsNothing(word, {})) vain.push_back(fmt::format("“{}”", word.view()));
    }
    for (const SearchFilterOptions::Part& part : request.parts) {
        if (findsNothing({}, part.filter)) vain.push_back(fmt::format("“{}”", part.written));
    }
    if (vain.empty()) return sentence + " Each word and option alone finds something; no item answers all of them.";
    const std::string last = std::move(vain.back());
    vain.pop_back();
    if (vain.empty()) return sentence + fmt::format(" Alone, {} finds nothing.", last);
    return sentence + fmt::format(" Alone, {} and {} find nothing.", fmt::join(vain, ", "), last);
}

/// Operands are put together again: whether the shell or quotes parted the words makes no difference.
ExitCode search(const Session& session, const SearchOptions& options, const Operands& words) {
    const Date now = Date::now();
    Request request{
        .words = fmt::format("{}", fmt::join(words, " ")), .parts = options.filter.parts(now), .settings = {}};
    // Blanks are no words, and everything there is answers no question.
    if (Text{request.words}.splitAtWhiteSpace().empty() && request.parts.empty())
        throw UsageError{"search needs words, or options such as --type video and --min 1GB; kestrel list shows what "
                         "a folder has."};
    const bool isForScripts = options.print0 || options.counts || session.options.json;
    weighWords(session, request.words, isForScripts ? SearchReader::script : SearchReader::person,
               options.isLiteral ? DoubtfulWords::taken : DoubtfulWords::questioned);
    const SavedScan scan = SavedScan::newest(session);
    const InterruptionWatch watch;
    request.settings = {.cancellation = watch.token(),
                        .now = now,
                        .filter = together(request.parts),
                        .order = options.order,
                        .measuresMatches = !options.print0};
    // Of what is counted nothing is shown, but it must be searched.
    const auto answer =
        scan.search(SearchQuery{Text{request.words}}, options.counts ? 1 : options.limit, request.settings);
    // Only a search that was given up has no answer; one that finds nothing has an empty one.
    if (!answer) throw Interrupted{};
    Interruption::check();
    // Who wants to see nothing is not told that nothing is there.
    if (answer->results.empty() && options.limit > 0) session.say(nothingFound(scan, request));
    if (session.options.json) {
        writeJSON(session, scan.summary(), request, *answer, !options.counts);
        return ExitCode::done;
    }
    if (options.counts) {
        session.out << answer->matches << '\n';
        return ExitCode::done;
    }
    if (options.print0) {
        // Raw, also on a terminal: a path that is escaped names nothing. A NUL can stand in no path.
        std::ostream& out = session.raw();
        for (const ScoredRecord& result : answer->results) out << result.record.path().view() << '\0';
        return ExitCode::done;
    }
    if (options.explain) writeExplanation(session, answer->explanation, request);
    if (answer->results.empty()) return ExitCode::done;
    writeTable(session, *answer, options.explain);
    writeSum(session, *answer);
    return ExitCode::done;
}

}  // namespace

void addSearchCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<SearchOptions>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "search",
                    .operands = "[WORDS…]",
                    .description = "Finds items of the saved scan by words and filters, best first.",
                    .examples = {"kestrel search report 2019", "kestrel search huge videos in:downloads",
                                 "kestrel search --type video --older-than 1y --min 500MB --sort size",
                                 "kestrel search --type photo --in ~/Pictures --not thumbnails --count",
                                 "kestrel search 'type:folder >2gb old'", "kestrel search --explain ext:pdf '<10mb'",
                                 "kestrel search --print0 installers old | xargs -0 ls -l"},
                    .mostOperands = Command::unlimited,
                    .takesWords = true,
                    .operandKind = ValueKind::query,
                    .readsSavedScan = true},
                   [&session, options](const Operands& words) { return search(session, *options, words); });
    options->filter.addTo(command);
    const std::map<std::string, SearchOrder> orders{{"score", SearchOrder::score},
                                                    {"size", SearchOrder::size},
                                                    {"date", SearchOrder::date},
                                                    {"name", SearchOrder::name}};
    command.choice("--sort", options->order, orders, "Order by score (default), size, date (newest first) or name")
        .valueName("ORDER");
    command.value("--limit", options->limit, "Show at most N items (default: 100)").valueName("N").check(wholeNumber());
    const CommandOption explain =
        command.flag("--explain", options->explain, "Say how the words were understood, and each item's score");
    const CommandOption print0 =
        command.flag("-0,--print0", options->print0, "Print only the paths, each ended by a NUL");
    command.flag("--count", options->counts, "Print only how many items there are").excludes(explain).excludes(print0);
    command.flag("--literal", options->isLiteral, "Look for words as they stand that look like mistyped filters");
}

}  // namespace KestrelCLI
