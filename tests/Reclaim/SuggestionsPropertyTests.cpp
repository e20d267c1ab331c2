#include "KestrelCore/Reclaim/Suggestions.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/DescribedTree.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

// The engine reads columns on several threads, skips chunks and keeps sums along the order of folders. Here the same
// rules are followed item by item over paths, as they are told to a person, and both must say the same of random trees.

namespace KestrelCore {

namespace {

using testing::DescribedItem;

const Date now{800'000'000};
const Date young = now.addingSeconds(-86'400);
const Date old{600'000'000};
const std::string home = "/home/anna";

/// What the catalogue below says, in the order in which its rules claim.
struct NaiveRule {
    std::string identifier;
    std::string text;  ///< from its rank on
    enum class Kind { contents, item, beside, holds, files } kind;
    std::string name;  ///< a place, the name of a folder, or the end of a file's name
    bool asksAge = false;
    int rank = 50;
};
const std::vector<NaiveRule> naiveRules{
    {"place", "places = [\"~/.cache/a\"]\n", NaiveRule::Kind::contents, home + "/.cache/a", false, 10},
    {"modules", "folders = [\"m\"]\nbeside = [\"w\"]\n", NaiveRule::Kind::beside, "m", false, 50},
    {"outputs", "folders = [\"o\"]\nholds = [\"w\"]\n", NaiveRule::Kind::holds, "o", true, 50},
    {"logs", "files = [\"*.log\"]\n", NaiveRule::Kind::files, ".log", true, 60},
    {"whole", "places = [\"~/a/o\"]\ntake = \"item\"\n", NaiveRule::Kind::item, home + "/a/o", false, 70}};

std::string above(const std::string& path) { return path.substr(0, path.rfind('/')); }
std::string nameOf(const std::string& path) { return path.substr(path.rfind('/') + 1); }
bool isBelow(const std::string& path, const std::string& folder) { return path.starts_with(folder + '/'); }

/// Paths below the home directory, of folders too.
using Tree = std::map<std::string, DescribedItem>;

class RandomHome {
public:
    explicit RandomHome(unsigned seed) : random_{seed} {
        const std::vector<std::string> folders{"m", "o", "a", "b", ".cache", "m", "o", ".git"};
        const std::vector<std::string> files{"w", "x", "1.log", "2.log", "w", ".git"};
        std::vector<std::string> places{home, home + "/.cache/a", home + "/a"};
        for (int i = 0; i < 60; ++i) {
            const std::string parent = places[chosen(places.size())];
            const bool isFolder = chosen(2) == 0;
            // Stores are rare, or nothing would be left to find.
            std::string name = isFolder ? folders[chosen(folders.size())] : files[chosen(files.size())];
            if (name == ".git" && chosen(4) != 0) name = "x";
            const std::string path = parent + '/' + name;
            if (tree.contains(path)) continue;
            for (std::string each = parent; each != home; each = above(each))
                tree.try_emplace(each, DescribedItem{.path = each + '/', .bytes = 0});
            if (isFolder) {
                places.push_back(path);
                tree[path] = {.path = path + '/', .bytes = 0, .modified = age()};
            } else {
                tree[path] = {.path = path, .bytes = 512 * static_cast<std::int64_t>(1 + chosen(9)), .modified = age()};
                addName(path);
            }
        }
    }

    Tree tree;

private:
    std::size_t chosen(std::size_t count) { return random_() % count; }
    Date age() { return chosen(12) == 0 ? young : old; }
    /// Some files get a second name somewhere else.
    void addName(const std::string& path) {
        DescribedItem& file = tree[path];
        if (chosen(4) == 0 && !names_.empty()) {
            const DescribedItem& first = tree[names_[chosen(names_.size())]];
            file.bytes = first.bytes;
            file.identity = first.identity;
            file.isFurtherName = true;
            return;
        }
        file.identity = FileIdentity{.device = 7, .inode = 5000 + names_.size()};
        names_.push_back(path);
    }

    std::mt19937 random_;
    std::vector<std::string> names_;
};

/// Which item of which rule each path belongs to.
class NaiveClaims {
public:
    explicit NaiveClaims(const Tree& tree) : tree_{tree} {
        for (const int rank : {10, 50, 60, 70}) {
            refused_.clear();
            for (const auto& [path, item] : sorted(true)) claim(path, rank);
            for (const auto& [path, item] : sorted(false)) claim(path, rank);
        }
    }

    [[nodiscard]] std::string itemOf(const std::string& path) const {
        for (std::string each = path; each.size() > home.size(); each = above(each)) {
            if (ruleOf.contains(each)) return each;
        }
        return {};
    }

    std::map<std::string, std::string> ruleOf;  ///< of each item

private:
    [[nodiscard]] std::vector<std::pair<std::string, DescribedItem>> sorted(bool folders) const {
        std::vector<std::pair<std::string, DescribedItem>> some;
        std::ranges::copy_if(tree_, std::back_inserter(some),
                             [&](const auto& each) { return each.second.path.ends_with('/') == folders; });
        // A folder comes before what lies in it.
        std::ranges::stable_sort(some, {}, [](const auto& each) { return std::ranges::count(each.first, '/'); });
        return some;
    }

    void claim(const std::string& path, int rank) {
        const bool isFolder = tree_.at(path).path.ends_with('/');
        for (const NaiveRule& rule : naiveRules) {
            if (rule.rank != rank || !fits(rule, path, isFolder)) continue;
            const bool hasWitness = rule.kind == NaiveRule::Kind::beside || rule.kind == NaiveRule::Kind::holds;
            const auto holds = [&](const std::string& folder) { return isBelow(path, folder); };
            if (!itemOf(path).empty() || (hasWitness && std::ranges::any_of(refused_, holds))) continue;
            if (std::ranges::any_of(ruleOf, [&](const auto& each) { return isBelow(each.first, path); })) continue;
            if (!mayGo(rule, path)) {
                if (hasWitness) refused_.insert(path);
                continue;
            }
            ruleOf[path] = rule.identifier;
        }
    }

    [[nodiscard]] bool fits(const NaiveRule& rule, const std::string& path, bool isFolder) const {
        for (std::string each = path; each.size() > home.size(); each = above(each)) {
            const bool isStore = nameOf(each) == ".git" && tree_.at(each).path.ends_with('/');
            if (isStore) return false;
        }
        const auto hasWitness = [&](const std::string& folder) {
            const std::string witness = folder + "/w";
            return witness != path && tree_.contains(witness);
        };
        // What lies in a hidden folder of the home directory is a program's.
        const bool isOfProgram = above(path) != home && path[home.size() + 1] == '.';
        switch (rule.kind) {
        case NaiveRule::Kind::contents: return above(path) == rule.name;
        case NaiveRule::Kind::item: return isFolder && path == rule.name;
        case NaiveRule::Kind::beside:
            return isFolder && !isOfProgram && nameOf(path) == rule.name && hasWitness(above(path));
        case NaiveRule::Kind::holds: return isFolder && !isOfProgram && nameOf(path) == rule.name && hasWitness(path);
        case NaiveRule::Kind::files: return !isFolder && path.ends_with(rule.name);
        }
        return false;
    }

    [[nodiscard]] bool mayGo(const NaiveRule& rule, const std::string& path) const {
        return std::ranges::none_of(tree_, [&](const auto& each) {
            if (each.first != path && !isBelow(each.first, path)) return false;
            const bool isYoung = rule.asksAge && each.second.modified == young;
            return isYoung || (each.first != path && nameOf(each.first) == ".git");
        });
    }

    const Tree& tree_;
    std::set<std::string> refused_;
};

/// "rule path bytes" of each item, "rule bytes" of each group, and the sum of all.
std::set<std::string> naive(const Tree& tree) {
    const NaiveClaims claims{tree};
    std::map<std::uint64_t, std::vector<std::string>> namesOf;
    std::map<std::uint64_t, std::string> counted;  ///< the name under which a file counts
    for (const auto& [path, item] : tree) {
        if (!item.identity) continue;
        namesOf[item.identity->inode].push_back(path);
        if (!item.isFurtherName) counted[item.identity->inode] = path;
    }
    std::map<std::string, std::int64_t> ofItem;
    std::map<std::string, std::int64_t> ofRule;
    std::int64_t all = 0;
    for (const auto& [path, rule] : claims.ruleOf) {
        ofItem[path];
        ofRule[rule];
    }
    for (const auto& [inode, path] : counted) {
        const std::string item = claims.itemOf(path);
        if (item.empty()) continue;
        const std::string rule = claims.ruleOf.at(item);
        const std::int64_t bytes = tree.at(path).bytes;
        const auto& names = namesOf[inode];
        const auto all_of = [&](const auto& holds) { return std::ranges::all_of(names, holds); };
        if (all_of([&](const std::string& name) { return claims.itemOf(name) == item; })) ofItem[item] += bytes;
        if (all_of([&](const std::string& name) {
                const std::string other = claims.itemOf(name);
                return !other.empty() && claims.ruleOf.at(other) == rule;
            }))
            ofRule[rule] += bytes;
        if (all_of([&](const std::string& name) { return !claims.itemOf(name).empty(); })) all += bytes;
    }
    std::set<std::string> lines{"all " + std::to_string(all)};
    for (const auto& [path, bytes] : ofItem)
        lines.insert(claims.ruleOf.at(path) + ' ' + path + ' ' + std::to_string(bytes));
    for (const auto& [rule, bytes] : ofRule) lines.insert(rule + ' ' + std::to_string(bytes));
    return lines;
}

}  // namespace

TEST(SuggestionsProperty, saysOfRandomTreesWhatANaiveReadingSays) {
    ReclaimCatalogue catalogue{ReclaimCatalogue::Systems::all};
    for (const NaiveRule& rule : naiveRules) {
        catalogue.add("id = \"" + rule.identifier + "\"\ntitle = \"T\"\nsystems = [\"linux\", \"macos\"]\n" +
                          "certainty = \"regenerates\"\nrank = " + std::to_string(rule.rank) + "\nsmallest-age = \"" +
                          (rule.asksAge ? "30d" : "0d") + "\"\nwhy = \"W.\"\ncomes-back = \"C.\"\n[[match]]\n" +
                          rule.text,
                      Text{rule.identifier + ".toml"});
    }
    ASSERT_TRUE(catalogue.problems().empty()) << catalogue.problems().front().message.view();
    const TemporaryFolder folder{roomyTemporaryFolder()};
    SnapshotHistory history{URL::fromPath(Text{folder / "history.sqlite"})};
    SuggestionSettings settings{.places = ReclaimPlaces::below(Text{home}), .now = now};
    settings.readsRepositories = false;
    std::map<std::string, int> found;
    for (unsigned seed = 1; seed <= 150; ++seed) {
        const Tree tree = RandomHome{seed}.tree;
        std::vector<DescribedItem> items;
        for (const auto& [path, item] : tree) items.push_back(item);
        const Generation generation = history.add(testing::describedTree(items));
        const Suggestions suggestions = Suggestions::of(history.open(generation.number), catalogue, settings).value();
        std::set<std::string> lines{"all " + std::to_string(suggestions.freedBytes)};
        for (const SuggestionGroup& group : suggestions.groups) {
            const std::string rule = group.rule.identifier.string();
            lines.insert(rule + ' ' + std::to_string(group.freedBytes));
            for (const SuggestedItem& item : group.items)
                lines.insert(rule + ' ' + item.record.path().string() + ' ' + std::to_string(item.freedBytes));
            found[rule] += static_cast<int>(group.items.size());
        }
        ASSERT_EQ(lines, naive(tree)) << "seed " << seed;
    }
    for (const NaiveRule& rule : naiveRules) EXPECT_GT(found[rule.identifier], 10) << rule.identifier;
}

}  // namespace KestrelCore
