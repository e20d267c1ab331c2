#include "KestrelCore/Base/NaturalOrder.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "conformance/Checkers.hpp"
#include "support/Vectors.hpp"

#include <functional>
#include <set>

namespace KestrelCore::conformance {

namespace {

using testing::pairsOf;
using testing::textOf;
using testing::textsOf;
using Pairs = std::set<std::pair<std::size_t, std::size_t>>;

Pairs pairs(simdjson::dom::element array) {
    const auto listed = pairsOf(array);
    return {listed.begin(), listed.end()};
}

std::string described(std::string_view relation, const Text& a, const Text& b) {
    return a.string() + " " + std::string{relation} + " " + b.string();
}

/// The texts with bars between them, which no vector holds.
std::string joined(const std::vector<Text>& texts) {
    std::string result;
    for (const Text& text : texts) result.append(text.view()).append("|");
    return result;
}

char signOf(std::weak_ordering order) { return order < 0 ? '<' : order > 0 ? '>' : '='; }

}  // namespace

void checkTextRelations(simdjson::dom::element root, Report& report) {
    const std::vector<Text> texts = textsOf(root["texts"]);
    const Pairs open = pairs(root["containsOpen"]);
    const auto checkRelation = [&](std::string_view name, const std::function<bool(const Text&, const Text&)>& holds) {
        const Pairs expected = pairs(root[name]);
        for (std::size_t i = 0; i < texts.size(); ++i) {
            for (std::size_t j = 0; j < texts.size(); ++j) {
                if (name == "contains" && open.contains({i, j})) continue;
                report.expectEqual(expected.contains({i, j}), holds(texts[i], texts[j]),
                                   described(name, texts[i], texts[j]));
            }
        }
    };
    checkRelation("equal", [](const Text& a, const Text& b) { return a == b && a.hash() == b.hash(); });
    checkRelation("less", [](const Text& a, const Text& b) { return a < b; });
    checkRelation("hasPrefix", [](const Text& a, const Text& b) { return a.hasPrefix(b); });
    checkRelation("hasSuffix", [](const Text& a, const Text& b) { return a.hasSuffix(b); });
    checkRelation("contains", [](const Text& a, const Text& b) { return a.contains(b); });
}

void checkTextMappings(simdjson::dom::element root, Report& report) {
    for (const simdjson::dom::element row : simdjson::dom::array{root}) {
        const Text input = textOf(row["input"]);
        const std::string name = input.string();
        // The results are compared byte by byte: canonical equality would hide a wrong spelling.
        report.expectEqual(std::string_view{row["lowercased"]}, input.lowercased().view(), "lowercased " + name);
        report.expectEqual(std::string_view{row["folded"]}, input.folded().view(), "folded " + name);
        report.expectEqual(std::int64_t{row["count"]}, static_cast<std::int64_t>(input.count()), "count " + name);
        report.expectEqual(joined(textsOf(row["tokens"])), joined(input.splitAtWhiteSpace()), "tokens " + name);
        report.expectEqual(joined(textsOf(row["words"])), joined(input.lowercased().words()), "words " + name);
    }
}

void checkNaturalOrder(simdjson::dom::element root, Report& report) {
    const std::vector<Text> names = textsOf(root["names"]);
    const simdjson::dom::array rows{root["order"]};
    for (std::size_t i = 0; i < names.size(); ++i) {
        const std::string_view row{rows.at(i)};
        for (std::size_t j = 0; j < names.size(); ++j) {
            const char actual = signOf(NaturalOrder::compare(names[i], names[j]));
            report.expectEqual(row.substr(j, 1), std::string_view{&actual, 1}, described("?", names[i], names[j]));
        }
    }
}

}  // namespace KestrelCore::conformance
