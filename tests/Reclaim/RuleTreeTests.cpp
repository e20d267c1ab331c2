#include "KestrelCore/Reclaim/Suggestions.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/DescribedTree.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

// Each rule of the catalogue has a tree in tests/data/reclaim. A line is an item: "+" must be taken by the rule of that
// name when no other is there, "-" must not, "!" must not by any rule of the catalogue: it is somebody's secret or
// work; then its path, its size, its age, and of a link " -> target".

namespace KestrelCore {

namespace {

using testing::DescribedItem;
using testing::describedTree;

const Date now{800'000'000};

struct Line {
    int number = 0;
    bool mustGo = false;
    bool isForNoRule = false;
    DescribedItem item{};
};

/// A number with a unit of the table behind it.
std::optional<std::int64_t> number(std::string_view text, const std::map<std::string_view, std::int64_t>& units) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const auto unit = units.find(text.substr(static_cast<std::size_t>(end - text.data())));
    if (error != std::errc{} || unit == units.end()) return std::nullopt;
    return value * unit->second;
}

std::vector<Line> linesOf(const std::filesystem::path& file) {
    static const std::map<std::string_view, std::int64_t> bytes{
        {"B", 1}, {"kB", 1'000}, {"MB", 1'000'000}, {"GB", 1'000'000'000}};
    static const std::map<std::string_view, std::int64_t> seconds{
        {"h", 3600}, {"d", 86'400}, {"w", 604'800}, {"m", 2'592'000}, {"y", 31'536'000}};
    std::vector<Line> lines;
    std::ifstream in{file};
    std::string text;
    for (int at = 1; std::getline(in, text); ++at) {
        if (text.empty() || text.front() == '#') continue;
        const char mark = text.front();
        Line line{.number = at, .mustGo = mark == '+', .isForNoRule = mark == '!'};
        std::string rest = text.substr(1);
        if (const std::size_t arrow = rest.find(" -> "); arrow != std::string::npos) {
            line.item.isLink = true;
            rest.resize(arrow);
        }
        std::vector<std::string> words;
        std::istringstream stream{rest};
        for (std::string word; stream >> word;) words.push_back(word);
        // The last two are a size and an age, where they are given; a path may have blanks.
        if (!words.empty()) {
            if (const auto age = number(words.back(), seconds)) {
                line.item.modified = now.addingSeconds(-static_cast<double>(*age));
                words.pop_back();
            }
        }
        if (!words.empty()) {
            if (const auto size = number(words.back(), bytes)) {
                line.item.bytes = *size;
                words.pop_back();
            }
        }
        std::string path;
        for (const std::string& word : words) path += (path.empty() ? "" : " ") + word;
        if (path.starts_with("~/")) path.replace(0, 1, "/home/anna");
        EXPECT_TRUE((mark == '+' || mark == '-' || mark == '!') && path.starts_with('/'))
            << file << ":" << at << ": " << text;
        line.item.path = path;
        if (path.starts_with('/')) lines.push_back(line);
    }
    return lines;
}

/// What these rules suggest, as paths, each with the rule that takes it.
std::map<std::string, std::string> taken(const ReclaimCatalogue& catalogue, const std::vector<Line>& lines) {
    std::vector<DescribedItem> items;
    for (const Line& line : lines) items.push_back(line.item);
    const TemporaryFolder folder{roomyTemporaryFolder()};
    SnapshotHistory history{URL::fromPath(Text{folder / "history.sqlite"})};
    const Generation generation = history.add(describedTree(items));
    const auto found = Suggestions::of(history.open(generation.number), catalogue,
                                       {.places = ReclaimPlaces::below("/home/anna"), .now = now});
    std::map<std::string, std::string> paths;
    for (const SuggestionGroup& group : found->groups) {
        for (const SuggestedItem& item : group.items)
            paths[item.record.path().string()] = group.rule.identifier.string();
    }
    return paths;
}

/// The rule that takes it, or a folder above it; empty for none.
std::string takerOf(const std::map<std::string, std::string>& taken, std::string path) {
    if (path.ends_with('/')) path.pop_back();
    for (; !path.empty(); path.resize(path.rfind('/'))) {
        if (const auto found = taken.find(path); found != taken.end()) return found->second;
    }
    return {};
}

std::set<std::string> namesIn(const std::filesystem::path& folder, std::string_view extension) {
    std::set<std::string> names;
    if (!std::filesystem::exists(folder)) return names;
    for (const auto& entry : std::filesystem::directory_iterator{folder}) {
        if (entry.path().extension() == extension) names.insert(entry.path().stem());
    }
    return names;
}

}  // namespace

TEST(RuleTrees, everyRuleOfTheCatalogueIsARule) {
    const ReclaimCatalogue catalogue = ReclaimCatalogue::shipped(ReclaimCatalogue::Systems::all);
    for (const ReclaimProblem& problem : catalogue.problems())
        ADD_FAILURE() << problem.file.view() << ":" << problem.line << ": " << problem.message.view();
    std::set<std::string> identifiers;
    for (const ReclaimRule& rule : catalogue.rules()) identifiers.insert(rule.identifier.string());
    EXPECT_EQ(identifiers, namesIn(KESTREL_TEST_DATA "/../../reclaim", ".toml"));
}

TEST(RuleTrees, everyRuleTakesWhatItsTreeSaysAndNothingElse) {
    const std::filesystem::path trees = KESTREL_TEST_DATA "/reclaim";
    const ReclaimCatalogue catalogue = ReclaimCatalogue::shipped(ReclaimCatalogue::Systems::all);
    std::set<std::string> withoutRule = namesIn(trees, ".tree");
    for (const ReclaimRule& rule : catalogue.rules()) {
        const std::string name = rule.identifier.string();
        const std::filesystem::path file = trees / (name + ".tree");
        withoutRule.erase(name);
        // What the disk has to be asked for is in no generation.
        if (rule.asksDisk()) continue;
        const std::vector<Line> lines = linesOf(file);
        EXPECT_TRUE(std::ranges::any_of(lines, &Line::mustGo)) << file << " has no “+”";
        EXPECT_FALSE(std::ranges::all_of(lines, &Line::mustGo)) << file << " has no “-”";
        std::ifstream rules{std::filesystem::path{KESTREL_TEST_DATA "/../../reclaim"} / (name + ".toml")};
        const std::string text{std::istreambuf_iterator<char>{rules}, {}};
        ReclaimCatalogue alone{ReclaimCatalogue::Systems::all};
        alone.add(text, Text{name + ".toml"});
        const std::map<std::string, std::string> paths = taken(alone, lines);
        for (const Line& line : lines) {
            EXPECT_EQ(!takerOf(paths, line.item.path).empty(), line.mustGo)
                << file.string() << ":" << line.number << ": " << line.item.path;
        }
    }
    for (const std::string& name : withoutRule) ADD_FAILURE() << name << ".tree is of no rule";
}

// All trees in one home, so that each rule meets what the others leave alone.
TEST(RuleTrees, noRuleTakesASecretOrWorkOfSomebody) {
    const std::filesystem::path trees = KESTREL_TEST_DATA "/reclaim";
    std::vector<Line> lines;
    for (const std::string& name : namesIn(trees, ".tree")) {
        for (Line& line : linesOf(trees / (name + ".tree"))) lines.push_back(std::move(line));
    }
    const ReclaimCatalogue catalogue = ReclaimCatalogue::shipped(ReclaimCatalogue::Systems::all);
    const std::map<std::string, std::string> paths = taken(catalogue, lines);
    EXPECT_GT(paths.size(), catalogue.rules().size());
    for (const Line& line : lines) {
        const std::string taker = takerOf(paths, line.item.path);
        EXPECT_TRUE(!line.isForNoRule || taker.empty()) << line.item.path << " by " << taker;
    }
}

}  // namespace KestrelCore
