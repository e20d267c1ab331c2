#include "commands/CompletionPoint.hpp"

#include "commands/Commands.hpp"

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Model/SearchExplanation.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/SampleSnapshots.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

namespace KestrelCLI {

namespace {

class Completion : public HistoryCommandTest {
protected:
    /// The answer of the program: who completes, and below it the words without what they are.
    static std::pair<std::string, std::vector<std::string>> complete(std::vector<std::string> words) {
        words.insert(words.begin(), {"complete-words", "--"});
        const CommandRun run =
            runCommands(std::move(words), {addScanCommand, addListCommand, addSearchCommand, addDuplicatesCommand,
                                           addHistoryCommand, addTrashCommand, addQuitCommand, addSuggestCommand,
                                           addExportCommand, addCompletionCommand, addDefinitionsCommand});
        EXPECT_EQ(run.code, ExitCode::done) << run.messages;
        EXPECT_THAT(run.messages, IsEmpty());
        std::istringstream lines{run.out};
        std::pair<std::string, std::vector<std::string>> answer;
        std::getline(lines, answer.first);
        for (std::string line; std::getline(lines, line);) answer.second.push_back(line.substr(0, line.find('\t')));
        return answer;
    }
    static std::vector<std::string> wordsFor(std::vector<std::string> words) {
        return complete(std::move(words)).second;
    }
    static std::string who(std::vector<std::string> words) { return complete(std::move(words)).first; }

    [[nodiscard]] std::string place() const { return data_ / "kestrel/history.sqlite"; }
};

}  // namespace

TEST_F(Completion, followsWhatTheLineSays) {
    EXPECT_THAT(wordsFor({""}), IsSupersetOf({"scan", "list", "completion", "help"}));
    EXPECT_THAT(wordsFor({""}), Not(Contains("complete-words"))) << "hidden ones stay hidden";
    EXPECT_THAT(wordsFor({"--json", "sc"}), Contains("scan"));
    EXPECT_THAT(wordsFor({"help", ""}), Contains("duplicates"));
    EXPECT_EQ(who({"scan", ""}), "folders");
    EXPECT_EQ(who({"trash", "--dry-run", "x", ""}), "files");
    EXPECT_EQ(who({"scan", "--", "-x"}), "folders");
    EXPECT_EQ(who({"export", "-o", ""}), "files");
    EXPECT_EQ(who({"export", "--output=so"}), "files");
    EXPECT_EQ(who({"list", "/srv", ""}), "words") << "it takes one";
    EXPECT_THAT(wordsFor({"list", "/srv", ""}), IsEmpty());
    EXPECT_THAT(wordsFor({"completion", ""}), ElementsAre("bash", "zsh", "fish"));
    EXPECT_THAT(wordsFor({"scan", "--depth", ""}), IsEmpty());
    EXPECT_THAT(wordsFor({"scan", "--nonsense="}), IsEmpty());
}

TEST_F(Completion, offersTheOptionsThatMayStillCome) {
    const std::vector<std::string> all = wordsFor({"scan", "--"});
    EXPECT_THAT(all, IsSupersetOf({"--depth", "--exclude", "--json", "--help"}));
    EXPECT_EQ(std::ranges::count(all, "--help"), 1);
    EXPECT_THAT(all, Not(Contains("--at"))) << "it scans";
    EXPECT_THAT(wordsFor({"list", "--"}), Contains("--at"));
    const std::vector<std::string> further = wordsFor({"scan", "--json", "-d", "3", "--exclude", "x", "-"});
    EXPECT_THAT(further, Not(Contains("--json")));
    EXPECT_THAT(further, Not(Contains("--depth")));
    EXPECT_THAT(further, Contains("--exclude")) << "as often as one likes";
}

TEST_F(Completion, offersTheWordsThatAnOptionTakes) {
    EXPECT_THAT(wordsFor({"scan", "--color", ""}), ElementsAre("always", "auto", "never"));
    EXPECT_THAT(wordsFor({"scan", "--color=al"}), Contains("--color=always"));
    EXPECT_THAT(wordsFor({"search", "--type", "photos,v"}), IsSupersetOf({"photos,videos", "photos,music"}));
    EXPECT_THAT(wordsFor({"duplicates", "--keep", ""}), ElementsAre("oldest", "newest", "in:"));
    EXPECT_THAT(wordsFor({"search", "--min", ""}), Contains("1GB"));
}

TEST_F(Completion, offersWordsThatASearchUnderstands) {
    std::vector<std::string> words = wordsFor({"search", ""});
    EXPECT_THAT(words, IsSupersetOf({"type:", "ext:", "in:", "huge"}));
    const std::vector<std::string> kinds = wordsFor({"search", "x", "type:f"});
    EXPECT_THAT(kinds, Contains("type:folder"));
    words.insert(words.end(), kinds.begin(), kinds.end());
    for (std::string word : words) {
        if (word == "in:") word += "x";  // nothing lies in nothing
        if (word == "type:") continue;
        EXPECT_THAT(SearchExplanation::of(SearchQuery{Text{word}}, Date::now()).terms, IsEmpty()) << word;
    }
}

TEST_F(Completion, tellsWhatIsThereNow) {
    EXPECT_THAT(wordsFor({"quit", ""}), Not(Contains(std::to_string(getpid())))) << "nobody means the program itself";
    EXPECT_THAT(wordsFor({"quit", ""}), Contains(std::to_string(getppid())));
    EXPECT_THAT(wordsFor({"suggest", ""}), IsSupersetOf({"regenerates", "cargo-target"}));

    EXPECT_THAT(wordsFor({"list", "--at", ""}), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(place())) << "asking makes no history";
    SnapshotHistory history{URL::fromPath(place())};
    (void)history.add(sampleSnapshot(5, 1));
    for (const char* name : {"my server", "two\nlines", "--store"}) {
        (void)history.add(sampleSnapshot(5, 1),
                          {.origin = GenerationOrigin::import, .source = {.name = Text{name}, .host = std::nullopt}});
    }
    EXPECT_THAT(wordsFor({"list", "--at", ""}), ElementsAre("4", "3", "my server", "2", "1"))
        << "a name that would pass for two, or for an option, is not offered";
    EXPECT_THAT(wordsFor({"history", "--forget", ""}), ElementsAre("4", "3", "2", "1"));
    EXPECT_THAT(wordsFor({"list", "--store", "x", "--at", ""}), IsEmpty()) << "a store has no history";
}

}  // namespace KestrelCLI
