#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/Search/StorageSearchPlan.hpp"
#include "conformance/Checkers.hpp"
#include "support/Vectors.hpp"

#include <optional>
#include <string>

namespace KestrelCore::conformance {

namespace {

using testing::textOf;
using testing::textsOf;

std::set<FileKind> kindsOf(simdjson::dom::element array) {
    std::set<FileKind> kinds;
    for (const simdjson::dom::element value : simdjson::dom::array{array}) {
        kinds.insert(fromRawValue<FileKind>(std::int64_t{value}).value());
    }
    return kinds;
}

std::optional<Date> dateOf(simdjson::dom::element value) {
    return value.is_null() ? std::nullopt : std::optional{Date{double{value}}};
}

SearchQuery queryOf(simdjson::dom::element text, simdjson::dom::element filters) {
    return SearchQuery{textOf(text), std::int64_t{filters["minimumBytes"]}, kindsOf(filters["kinds"]),
                       dateOf(filters["modifiedAfter"])};
}

std::string shown(const std::optional<Date>& date) {
    return date ? std::to_string(date->secondsSinceReferenceDate) : "null";
}

template <typename Texts>
std::string joined(const Texts& texts) {
    std::string result;
    for (const Text& text : texts) result.append(text.view()).append("|");
    return result;
}

template <typename Kinds>
std::string joinedKinds(const Kinds& kinds) {
    std::string result;
    for (const FileKind kind : kinds) result += std::to_string(rawValue(kind)) + "|";
    return result;
}

/// Paths with their scores, a line each.
std::string shown(const std::vector<ScoredRecord>& results) {
    std::string lines;
    for (const ScoredRecord& result : results) {
        lines.append(std::to_string(result.score)).append(" ").append(result.record.path().view()).append("\n");
    }
    return lines;
}

}  // namespace

void checkPlans(simdjson::dom::element root, Report& report) {
    const Date now{double{root["now"]}};
    for (const simdjson::dom::element row : simdjson::dom::array{root["plans"]}) {
        const StorageSearchPlan plan{queryOf(row["text"], row["query"]), now};
        const auto what = [&](std::string_view field) {
            return std::string{field} + " of " + std::string{std::string_view{row["text"]}};
        };
        const auto maximum = simdjson::dom::element{row["maximumBytes"]};
        const std::vector<Text> extensions = textsOf(row["extensions"]);
        report.expectEqual(joined(textsOf(row["terms"])), joined(plan.terms), what("terms"));
        report.expectEqual(joinedKinds(kindsOf(row["kinds"])), joinedKinds(plan.kinds), what("kinds"));
        report.expectEqual(joined(std::set<Text>(extensions.begin(), extensions.end())), joined(plan.extensions),
                           what("extensions"));
        report.expectEqual(joined(textsOf(row["pathTerms"])), joined(plan.pathTerms), what("pathTerms"));
        report.expectEqual(std::int64_t{row["minimumBytes"]}, plan.minimumBytes, what("minimumBytes"));
        report.expectEqual(maximum.is_null() ? "null" : std::to_string(std::int64_t{maximum}),
                           plan.maximumBytes ? std::to_string(*plan.maximumBytes) : "null", what("maximumBytes"));
        report.expectEqual(shown(dateOf(row["modifiedAfter"])), shown(plan.modifiedAfter), what("modifiedAfter"));
        report.expectEqual(shown(dateOf(row["modifiedBefore"])), shown(plan.modifiedBefore), what("modifiedBefore"));
        report.expectEqual(bool{row["hiddenOnly"]}, plan.hiddenOnly, what("hiddenOnly"));
    }
}

void checkSearches(const ScanSnapshot& snapshot, simdjson::dom::element searches, Report& report) {
    for (const simdjson::dom::element row : simdjson::dom::array{searches}) {
        std::string expected;
        const simdjson::dom::array paths{row["paths"]};
        const simdjson::dom::array scores{row["scores"]};
        auto score = scores.begin();
        for (const simdjson::dom::element path : paths) {
            expected.append(std::to_string(std::int64_t{*score})).append(" ").append(std::string_view{path}) += '\n';
            ++score;
        }
        const std::string what = "search for " + std::string{std::string_view{row["text"]}};
        const SearchQuery query = queryOf(row["text"], row);
        const std::int64_t limit{row["limit"]};
        const auto answer = snapshot.search(query, limit, SearchSettings{});
        report.expectEqual(expected, answer ? shown(answer->results) : "abandoned", what);
        // More threads than a snapshot of this size would get: the answer may not depend on them.
        const auto threaded =
            snapshot.search(query, limit, SearchSettings{.cancellation = {}, .now = {}, .threads = 3});
        report.expectEqual(expected, threaded ? shown(threaded->results) : "abandoned", what + " on three threads");
    }
}

}  // namespace KestrelCore::conformance
