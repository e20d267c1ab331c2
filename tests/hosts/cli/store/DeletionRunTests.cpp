#include "store/DeletionRun.hpp"

#include "commands/Commands.hpp"
#include "store/Restoration.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/DiskRecord.hpp"
#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

using namespace KestrelCore;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class ADeletionRun : public HistoryCommandTest {
protected:
    /// With nobody who listens: what is written shows.
    ~ADeletionRun() override { EXPECT_EQ(out_.str() + messages_.str(), ""); }

    std::string file(const std::string& name, std::size_t size = 5000) const {
        return folder_.makeFile(name, std::string(size, 'x'));
    }
    static std::int64_t blocks(const std::string& path) { return diskRecord(path).allocatedBytes(); }
    DeletionProposal proposal(const std::vector<DeletionTarget>& targets, HighRisk highRisk = HighRisk::stays) {
        return run_.propose(targets, highRisk, {}).value();
    }
    DeletionOutcome execute(const DeletionProposal& proposal, DeletionMode mode = DeletionMode::trash,
                            const std::optional<Text>& typed = {}) {
        return run_.execute(proposal, mode, typed, [](const auto&) { return true; }, {});
    }
    [[nodiscard]] CommandRun command(std::vector<std::string> arguments) const {
        return runCommands(std::move(arguments), {addScanCommand, addListCommand});
    }
    [[nodiscard]] std::string listed() const { return command({"list", "--all", folder_.path()}).out; }

    std::ostringstream out_;
    std::ostringstream messages_;
    Session session_{.out = out_, .messages = messages_, .terminal = {}, .options = {}};
    std::vector<std::string> remarks_;
    DeletionRun run_{session_, [this](std::string_view sentence) { remarks_.emplace_back(sentence); }};
};

}  // namespace

TEST_F(ADeletionRun, saysWhatWouldGoAndWhatWouldStay) {
    const std::string plain = file("plain");
    const std::string hidden = file(".hidden");
    const DeletionProposal shown = proposal({{.path = plain},
                                             {.path = hidden},
                                             {.path = "/etc/passwd"},
                                             {.path = folder_ / "missing"},
                                             {.path = "x", .refusal = "No name.", .code = ExitCode::failed}});
    ASSERT_EQ(shown.items.size(), 5U);
    EXPECT_FALSE(shown.items[0].refusal);
    EXPECT_TRUE(shown.items[1].isHighRiskAlone);
    EXPECT_EQ(shown.items[1].code, ExitCode::refused);
    EXPECT_EQ(shown.items[2].code, ExitCode::refused);
    EXPECT_FALSE(shown.items[2].isHighRiskAlone);
    EXPECT_EQ(shown.items[3].code, ExitCode::failed);
    EXPECT_EQ(shown.items[4].refusal.value(), Text{"No name."});
    EXPECT_EQ(shown.freedBytes, blocks(plain));
    ASSERT_EQ(shown.records().size(), 1U);
    EXPECT_EQ(proposal({{.path = hidden}}, HighRisk::goes).records().size(), 1U);
    // The policy's own are never the user's to allow.
    EXPECT_TRUE(proposal({{.path = "/etc/passwd"}}, HighRisk::goes).records().empty());
}

TEST_F(ADeletionRun, movesToTheTrashAndBackOnAnotherThread) {
    const std::string path = file("a");
    file("b");
    ASSERT_EQ(command({"scan", folder_.path()}).code, ExitCode::done);
    const std::string before = listed();
    std::thread{[&] {
        const DeletionOutcome outcome = execute(proposal({{.path = path}}));
        EXPECT_THAT(outcome.gone, ElementsAre(Text{path}));
        EXPECT_EQ(outcome.freedBytes, 8192);
        EXPECT_FALSE(outcome.isInterrupted);
    }}.join();
    EXPECT_FALSE(fs::exists(path));
    EXPECT_THAT(listed(), Not(HasSubstr(" a\n")));
    std::thread{[&] {
        const Restoration restoration{session_, [this](std::string_view sentence) { remarks_.emplace_back(sentence); }};
        const std::vector<KnownReceipt> receipts = restoration.receipts();
        std::size_t told = 0;
        const RestoreOutcome outcome = restoration.execute(
            lastRequest(receipts), {}, [&](const RestoreResult&) { ++told; }, [] { return false; });
        EXPECT_EQ(outcome.restored, 1U);
        EXPECT_EQ(told, 1U);
    }}.join();
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(listed(), before);
    EXPECT_THAT(remarks_, IsEmpty());
}

TEST_F(ADeletionRun, needsTheWordForGood) {
    const std::string path = file("a");
    const DeletionProposal shown = proposal({{.path = path}});
    for (const std::optional<Text>& typed : {std::optional<Text>{}, std::optional<Text>{"delete"}}) {
        const DeletionOutcome outcome = execute(shown, DeletionMode::permanent, typed);
        ASSERT_EQ(outcome.results.size(), 1U);
        EXPECT_FALSE(outcome.results[0].succeeded);
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_THAT(execute(shown, DeletionMode::permanent, "DELETE").gone, ElementsAre(Text{path}));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(ADeletionRun, holdsAnItemToWhatTheUserWasShown) {
    const std::string path = file("sub/a");
    const FileRecord seen = diskRecord(folder_ / "sub");
    // What the newest scan has is another one by then, which the user has never seen.
    fs::rename(folder_ / "sub", folder_ / "elsewhere");
    file("sub/b");
    ASSERT_EQ(command({"scan", folder_.path()}).code, ExitCode::done);
    EXPECT_FALSE(proposal({{.path = folder_ / "sub"}}).items[0].refusal);
    const DeletionProposal shown = proposal({{.path = folder_ / "sub", .seen = seen}});
    EXPECT_THAT(shown.items[0].refusal.value().string(), HasSubstr("The item changed since the scan."));
}

TEST_F(ADeletionRun, judgesEachItemAnewWhenItIsItsTurn) {
    const std::string replaced = file("replaced/a");
    const std::string vanished = file("vanished");
    const std::string whole = file("whole");
    const DeletionProposal shown = proposal({{.path = folder_ / "replaced"}, {.path = vanished}, {.path = whole}});
    ASSERT_EQ(shown.records().size(), 3U);
    fs::rename(folder_ / "replaced", folder_ / "kept");
    fs::create_directory_symlink(folder_ / "kept", folder_ / "replaced");
    fs::remove(vanished);
    const DeletionOutcome outcome = execute(shown, DeletionMode::permanent, "DELETE");
    EXPECT_THAT(outcome.gone, ElementsAre(Text{whole}));
    EXPECT_EQ(outcome.freedBytes, 8192);
    EXPECT_TRUE(fs::exists(folder_ / "kept/a"));
    EXPECT_TRUE(fs::is_symlink(folder_ / "replaced"));
}

TEST_F(ADeletionRun, isOvertakenWithoutATrace) {
    const std::string path = file("a");
    const std::string other = file("b");
    ASSERT_EQ(command({"scan", folder_.path()}).code, ExitCode::done);
    const DeletionProposal shown = proposal({{.path = path}});
    const CancellationToken token;
    token.cancel();
    EXPECT_FALSE(run_.propose({{.path = other}}, HighRisk::stays, token));
    (void)proposal({{.path = other}});
    // What was shown goes, with all that was known of it, whatever was asked since.
    EXPECT_THAT(execute(shown).gone, ElementsAre(Text{path}));
    EXPECT_THAT(listed(), Not(HasSubstr(" a\n")));
    EXPECT_THAT(listed(), HasSubstr(" b\n"));
    EXPECT_THAT(remarks_, IsEmpty());
}

TEST_F(ADeletionRun, takesWhatIsGoneOutOfTheScansOfAllRoots) {
    const std::string path = file("sub/a");
    file("sub/b");
    const std::string beside = file("c");
    ASSERT_EQ(command({"scan", folder_.path()}).code, ExitCode::done);
    ASSERT_EQ(command({"scan", folder_ / "sub"}).code, ExitCode::done);
    EXPECT_EQ(execute(proposal({{.path = path}, {.path = beside}})).gone.size(), 2U);
    const SnapshotHistory history{URL::fromPath(data_ / "kestrel/history.sqlite")};
    for (const char* root : {"", "/sub"}) {
        const Generation newest = history.generations(folder_.path() + root).at(0);
        EXPECT_FALSE(history.record(newest.number, path)) << root;
        EXPECT_FALSE(history.record(newest.number, beside)) << root;
        EXPECT_TRUE(history.record(newest.number, folder_ / "sub/b")) << root;
    }
    EXPECT_THAT(remarks_, IsEmpty());
    const Restoration restoration{session_, [this](std::string_view sentence) { remarks_.emplace_back(sentence); }};
    const std::vector<KnownReceipt> receipts = restoration.receipts();
    EXPECT_EQ(restoration
                  .execute(
                      lastRequest(receipts), {}, [](const RestoreResult&) {}, [] { return false; })
                  .restored,
              2U);
    for (const char* root : {"", "/sub"}) {
        const Generation newest = history.generations(folder_.path() + root).at(0);
        EXPECT_TRUE(history.record(newest.number, path)) << root;
    }
    EXPECT_THAT(remarks_, IsEmpty());
}

TEST_F(ADeletionRun, stopsBetweenTwoItems) {
    const std::string first = file("a");
    const std::string second = file("b");
    ASSERT_EQ(command({"scan", folder_.path()}).code, ExitCode::done);
    const DeletionProposal shown = proposal({{.path = first}, {.path = second}});
    const CancellationToken token;
    const DeletionOutcome outcome = run_.execute(
        shown, DeletionMode::trash, {},
        [&](const auto&) {
            token.cancel();
            return true;
        },
        token);
    EXPECT_TRUE(outcome.isInterrupted);
    EXPECT_THAT(outcome.gone, ElementsAre(Text{first}));
    EXPECT_TRUE(fs::exists(second));
    // The saved scan knows what is gone all the same.
    EXPECT_THAT(listed(), Not(HasSubstr(" a\n")));
    EXPECT_FALSE(run_.propose({{.path = second}}, HighRisk::stays, token));
    EXPECT_TRUE(run_.execute(
                        shown, DeletionMode::trash, {}, [](const auto&) { return true; }, token)
                    .isInterrupted);
    EXPECT_TRUE(fs::exists(second));
}

TEST_F(ADeletionRun, knowsWhatAGrowingChoiceFrees) {
    const std::string one = file("one/a");
    const std::string alone = file("alone", 20'000);
    for (const char* name : {"two", "three"}) {
        folder_.makeFolder(name);
        fs::create_hard_link(one, folder_ / (std::string{name} + "/a"));
    }
    const auto freed = [&](const std::vector<Text>& paths) { return run_.chosenBytes(paths, {}).value().freed; };
    const std::int64_t ofFolder = blocks(folder_ / "one");
    std::vector<Text> choice{folder_ / "one"};
    EXPECT_EQ(freed(choice), ofFolder);
    choice.emplace_back(folder_ / "two");
    EXPECT_EQ(freed(choice), 2 * ofFolder);  // another name is outside
    choice.emplace_back(one);                // in what was chosen already
    choice.emplace_back("/etc");             // never goes
    EXPECT_EQ(freed(choice), 2 * ofFolder);
    choice.emplace_back(folder_ / "three");
    EXPECT_EQ(freed(choice), 3 * ofFolder + blocks(one));
    choice.emplace_back(alone);
    EXPECT_EQ(freed(choice), 3 * ofFolder + blocks(one) + blocks(alone));
    // Looked at once, until a proposal is made.
    const std::int64_t before = freed(choice);
    std::ofstream{alone, std::ios::app} << std::string(100'000, 'x') << std::flush;
    EXPECT_EQ(freed(choice), before);
    EXPECT_EQ(proposal({{.path = alone}}).freedBytes, blocks(alone));
    EXPECT_GT(freed(choice), before);
}

TEST_F(ADeletionRun, forgetsALookThatWasCutShort) {
    file("sub/a");
    const CancellationToken token;
    token.cancel();
    EXPECT_FALSE(run_.chosenBytes({folder_ / "sub"}, token));
    const auto whole = run_.chosenBytes({folder_ / "sub"}, {}).value();
    EXPECT_EQ(whole.freed, blocks(folder_ / "sub") + 8192);
    EXPECT_EQ(whole.unread, 0U);
}

TEST_F(ADeletionRun, tellsWhatKeepsTheSavedScansFromBeingUsed) {
    const std::string path = file("a");
    fs::create_directory(data_ / "kestrel");
    std::ofstream{data_ / "kestrel/history.sqlite"} << "This is no database, and long enough to look at.";
    EXPECT_THAT(execute(proposal({{.path = path}})).gone, ElementsAre(Text{path}));
    ASSERT_FALSE(remarks_.empty());
    EXPECT_THAT(remarks_.front(), HasSubstr("The saved scans are left out: "));
}

TEST_F(ADeletionRun, keepsInTheTrashWhatWasNotBegun) {
    const std::string first = file("a");
    const std::string second = file("b");
    ASSERT_EQ(execute(proposal({{.path = first}, {.path = second}})).gone.size(), 2U);
    const Restoration restoration{session_, [](std::string_view) {}};
    const std::vector<KnownReceipt> receipts = restoration.receipts();
    bool isStopped = false;
    const RestoreOutcome outcome = restoration.execute(
        lastRequest(receipts), {}, [&](const RestoreResult&) { isStopped = true; }, [&] { return isStopped; });
    EXPECT_TRUE(outcome.isInterrupted);
    EXPECT_EQ(outcome.restored, 1U);
    EXPECT_NE(fs::exists(first), fs::exists(second));
    EXPECT_EQ(restoration.receipts().size(), 1U);
}

}  // namespace KestrelCLI
