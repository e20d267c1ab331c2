#include "output/ProcessOrder.hpp"

#include <gtest/gtest.h>

#include <utility>

namespace KestrelCLI {

namespace {

using KestrelCore::Text;

ProcessRow row(std::int32_t id, const char* name, double cpu, std::int64_t resident, std::int32_t parent = 0) {
    ProcessRow made;
    made.sample.id = id;
    made.sample.name = Text{name};
    made.sample.cpuPercent = cpu;
    made.sample.residentBytes = resident;
    made.description.parentId = parent;
    return made;
}

TEST(ProcessOrder, sortsByUseMemoryNameOrDiskAndThenIdentifier) {
    std::vector<ProcessRow> processes{row(3, "b", 1, 5), row(2, "a", 1, 9), row(1, "a", 0, 9)};
    processes[0].description.readBytesPerSecond = 5;
    processes[0].description.writtenBytesPerSecond = 5;
    processes[2].description.readBytesPerSecond = 9;
    const auto identifiers = [&](ProcessOrder order) {
        auto sorted = processes;
        sortProcesses(sorted, order);
        return std::vector<int>{sorted[0].sample.id, sorted[1].sample.id, sorted[2].sample.id};
    };
    EXPECT_EQ(identifiers(ProcessOrder::cpu), (std::vector<int>{2, 3, 1}));
    EXPECT_EQ(identifiers(ProcessOrder::memory), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(identifiers(ProcessOrder::name), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(identifiers(ProcessOrder::disk), (std::vector<int>{3, 1, 2}));
}

TEST(ProcessTree, hangsEachBelowItsParentInTheGivenOrder) {
    const std::vector<ProcessRow> rows{row(9, "z", 0, 0, 5), row(5, "p", 0, 0, 77), row(7, "a", 0, 0, 5),
                                       row(8, "x", 0, 0, 9)};
    std::vector<std::pair<int, std::string>> drawn;
    for (const TreePlace& place : processTree(rows, true)) drawn.emplace_back(rows[place.row].sample.id, place.prefix);
    EXPECT_EQ(drawn, (std::vector<std::pair<int, std::string>>{{5, ""}, {9, "├─ "}, {8, "│  └─ "}, {7, "└─ "}}));
    EXPECT_EQ(processTree(rows, false)[2].prefix, "|  `- ");
}

TEST(ProcessTree, takesEveryRowOnceWhateverTheParentsSay) {
    // A circle, one that is its own parent, one number twice, and a very long chain.
    std::vector<ProcessRow> rows{row(1, "a", 0, 0, 2), row(2, "b", 0, 0, 1), row(3, "c", 0, 0, 3),
                                 row(3, "d", 0, 0, 1)};
    for (int id = 10; id < 5000; ++id) rows.push_back(row(id, "deep", 0, 0, id - 1));
    std::vector<int> seen(rows.size());
    for (const TreePlace& place : processTree(rows, true)) {
        ++seen[place.row];
        EXPECT_LT(place.prefix.size(), 400U);
    }
    EXPECT_EQ(seen, std::vector<int>(rows.size(), 1));
}

TEST(ProcessFilter, findsWordsInAnyCaseInNameCommandLineUserAndIdentifier) {
    ProcessRow process = row(4711, "Größe", 0, 0);
    process.description.commandLine = Text{"/usr/bin/python3 Server.py"};
    process.description.user = Text{"ann"};
    for (const char* word : {"GRÖSSE", "server", "PYTHON", "Ann", "4711"}) {
        EXPECT_TRUE(ProcessFilter{.words = {word}}.matches(process)) << word;
    }
    EXPECT_TRUE((ProcessFilter{.words = {"server", "ann"}, .user = "ann"}.matches(process)));
    EXPECT_FALSE((ProcessFilter{.words = {"server", "bob"}}.matches(process)));
    EXPECT_FALSE(ProcessFilter{.words = {"471"}}.matches(process));
    EXPECT_FALSE(ProcessFilter{.user = "Ann"}.matches(process));
    EXPECT_EQ(wordsOf("  a\tb  c "), (std::vector<std::string>{"a", "b", "c"}));
}

}  // namespace

}  // namespace KestrelCLI
