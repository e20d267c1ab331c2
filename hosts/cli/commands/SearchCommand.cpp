#include "commands/Commands.hpp"

#include "commands/OptionValue.hpp"
#include "output/ByteFormat.hpp"
#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"
#include "output/SearchHints.hpp"
#include "output/SearchMarks.hpp"
#include "output/Table.hpp"
#include "output/Times.hpp"
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
//     --json             all of it

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

struct SearchOptions {
    std::int64_t limit = 100;
    bool explain = false;
    bool print0 = false;
};

template <typename Texts>
void writeTexts(JSONOutput& json, std::string_view key, const Texts& texts) {
    json.beginArray(key);
    for (const Text& text : texts) json.element(text.view());
    json.endArray();
}

/// The snapshot, how the words were understood, and the results with their scores.
void writeJSON(const Session& session, const Generation& scan, const SearchAnswer& answer) {
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
void writeExplanation(const Session& session, const SearchExplanation& understood) {
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
    session.out << '\n';
}

/// A path as it is shown, in its style, with what the words found in it in another.
std::string withMarks(std::string_view shown, Style style, const std::vector<Text>& words) {
    std::string result;
    std::size_t end = 0;
    for (const Mark& mark : searchMarks(shown, words)) {
        result += painted(style, shown.substr(end, mark.begin - end), true);
        result += painted(Style::match, shown.substr(mark.begin, mark.end - mark.begin), true);
        end = mark.end;
    }
    return result + painted(style, shown.substr(end), true);
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
        cells.push_back({.text = session.shownPath(record.path().view()),
                         .style = style,
                         .paint = [style, &words](std::string_view shown) { return withMarks(shown, style, words); }});
        table.addRow(std::move(cells));
    }
    table.write(session.out, session.columns(), session.hasColor());
}

/// Operands are put together again: whether the shell or quotes parted the words makes no difference.
ExitCode search(const Session& session, const SearchOptions& options, const Operands& words) {
    const std::string typed = fmt::format("{}", fmt::join(words, " "));
    const SavedScan scan = SavedScan::newest(session);
    const InterruptionWatch watch;
    const auto answer = scan.search(SearchQuery{Text{typed}}, options.limit,
                                    {.cancellation = watch.token(), .now = std::nullopt, .threads = 0});
    // Only a search that was given up has no answer; one that finds nothing has an empty one.
    if (!answer) throw Interrupted{};
    Interruption::check();
    for (const std::string& hint : searchHints(typed)) session.say(hint);
    // Who wants to see nothing is not told that nothing is there.
    if (answer->results.empty() && options.limit > 0) session.say("Nothing in the saved scan answers that search.");
    if (session.options.json) {
        writeJSON(session, scan.summary(), *answer);
        return ExitCode::done;
    }
    if (options.print0) {
        // Raw, also on a terminal: a path that is escaped names nothing. A NUL can stand in no path.
        std::ostream& out = session.raw();
        for (const ScoredRecord& result : answer->results) out << result.record.path().view() << '\0';
        return ExitCode::done;
    }
    if (options.explain) writeExplanation(session, answer->explanation);
    if (!answer->results.empty()) writeTable(session, *answer, options.explain);
    return ExitCode::done;
}

}  // namespace

void addSearchCommand(CLI::App& app, Session& session) {
    const auto options = std::make_shared<SearchOptions>();
    CLI::App& command =
        addCommand(app,
                   {.name = "search",
                    .operands = "WORDS…",
                    .description = "Finds items of the saved scan by words and filters, best first.",
                    .examples = {"kestrel search report 2019", "kestrel search huge videos in:downloads",
                                 "kestrel search 'type:folder >2gb old'", "kestrel search --explain ext:pdf '<10mb'",
                                 "kestrel search --print0 installers old | xargs -0 ls -l"},
                    .fewestOperands = 1,
                    .mostOperands = Command::unlimited,
                    .readsSavedScan = true},
                   [&session, options](const Operands& words) { return search(session, *options, words); });
    command.add_option("--limit", options->limit, "Show at most N items (default: 100)")
        ->type_name("N")
        ->transform(wholeNumber());
    command.add_flag("--explain", options->explain, "Say how the words were understood, and each item's score");
    command.add_flag("-0,--print0", options->print0, "Print only the paths, each ended by a NUL");
}

}  // namespace KestrelCLI
