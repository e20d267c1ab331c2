#include "commands/Commands.hpp"

#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

using namespace KestrelCore;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;

class RestoreCommand : public HistoryCommandTest {
protected:
    CommandRun run(std::vector<std::string> arguments) const {
        return runCommands(std::move(arguments), {addScanCommand, addListCommand, addSearchCommand, addTrashCommand,
                                                  addRemoveCommand, addRestoreCommand, addHistoryCommand});
    }
    std::string file(const std::string& name, const std::string& content = "content") const {
        return folder_.makeFile(name, content);
    }
    void trash(const std::vector<std::string>& paths) const {
        std::vector<std::string> arguments{"trash", "--yes"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        const CommandRun moved = run(arguments);
        ASSERT_EQ(moved.code, ExitCode::done) << moved.out << moved.messages;
    }
    [[nodiscard]] std::vector<TrashReceipt> receipts() const {
        return TrashReceipts{data_.path() + "/kestrel/receipts"}.receipts();
    }
    static std::string contentOf(const std::string& path) {
        std::ostringstream text;
        text << std::ifstream{path}.rdbuf();
        return text.str();
    }
    std::string listed() const { return run({"list", "--all", folder_.path()}).out; }
};

}  // namespace

TEST_F(RestoreCommand, isNamedByTheLastLineOfTrash) {
    const CommandRun moved = run({"trash", "--yes", file("a"), file("b")});
    EXPECT_THAT(moved.out, EndsWith("Undo: kestrel restore --last\n"));
    // The space is one sentence for all, and nothing is said to be free.
    EXPECT_THAT(moved.out, HasSubstr("/a: Moved to Trash.\n"));
    EXPECT_THAT(moved.out, HasSubstr("It still counts as used until the Trash is emptied"));
    EXPECT_THAT(moved.out, Not(HasSubstr("reclaimed")));
    const CommandRun refused = run({"trash", "--yes", folder_ / "missing"});
    EXPECT_THAT(refused.out, Not(HasSubstr("Undo")));
}

TEST_F(RestoreCommand, undoesTheLastRunAndNoneBefore) {
    const std::string first = file("first");
    const std::string second = file("second");
    const std::string third = file("third");
    trash({first});
    trash({second, third});
    const CommandRun back = run({"restore", "--last"});
    EXPECT_EQ(back.code, ExitCode::done) << back.messages;
    EXPECT_THAT(back.out, HasSubstr("Restored 2 items."));
    EXPECT_TRUE(fs::exists(second) && fs::exists(third) && !fs::exists(first));
    EXPECT_EQ(run({"restore", "--last"}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(first));
    EXPECT_THAT(run({"restore", "--last"}).out, HasSubstr("Nothing"));
}

TEST_F(RestoreCommand, restoresAllThatIsListed) {
    const std::string inner = file("sub/inner");
    trash({inner});
    trash({folder_ / "sub", file("other")});
    EXPECT_EQ(run({"restore", "--all"}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(inner) && fs::exists(folder_ / "other"));
    EXPECT_TRUE(receipts().empty());
}

TEST_F(RestoreCommand, knowsItemsByPathNameAndReceipt) {
    const std::string path = file("sub/letter.txt");
    const fs::path before = fs::current_path();
    for (const std::string& name : {path, std::string{"letter.txt"}, std::string{"sub/../sub/letter.txt"}}) {
        trash({path});
        fs::current_path(folder_.path());
        EXPECT_EQ(run({"restore", name}).code, ExitCode::done) << name;
        fs::current_path(before);
        EXPECT_TRUE(fs::exists(path)) << name;
    }
    trash({path});
    EXPECT_EQ(run({"restore", receipts().front().id.uuidString().substr(0, 8)}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(path));
    EXPECT_THAT(messagesOf(run({"restore", "letter.txt"}), ExitCode::wrongUsage), HasSubstr("letter.txt"));
}

TEST_F(RestoreCommand, listsTheItemsOfOneNameAndTakesThePathOfOne) {
    const std::string one = file("one/letter.txt");
    const std::string other = file("other/letter.txt");
    trash({one});
    trash({other});
    const std::string told = messagesOf(run({"restore", "letter.txt"}), ExitCode::wrongUsage);
    EXPECT_THAT(told, HasSubstr(one));
    EXPECT_THAT(told, HasSubstr(other));
    EXPECT_THAT(told, HasSubstr("“letter.txt” means 2 items; name one by its receipt."));
    EXPECT_EQ(run({"restore", one}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(one) && !fs::exists(other));
    EXPECT_EQ(run({"restore", "letter.txt"}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(RestoreCommand, neverOverwritesAndOffersWaysOut) {
    const std::string path = file("a", "old");
    trash({path});
    file("a", "new");
    const CommandRun taken = run({"restore", path});
    EXPECT_EQ(taken.code, ExitCode::failed);
    EXPECT_THAT(taken.messages, HasSubstr("--as NAME"));
    EXPECT_THAT(taken.messages, HasSubstr("--replace"));
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_EQ(run({"restore", path, "--as", "b"}).code, ExitCode::done);
    EXPECT_EQ(contentOf(folder_ / "b"), "old");
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_TRUE(receipts().empty());
}

TEST_F(RestoreCommand, movesWhatIsInTheWayToTheTrashAndBack) {
    const std::string path = file("a", "old");
    trash({path});
    file("a", "new");
    const CommandRun swapped = run({"restore", path, "--replace"});
    EXPECT_EQ(swapped.code, ExitCode::done) << swapped.out << swapped.messages;
    EXPECT_THAT(swapped.out, EndsWith("Undo: kestrel restore --last --replace\n"));
    EXPECT_EQ(contentOf(path), "old");
    EXPECT_EQ(receipts().size(), 1U);
    EXPECT_EQ(run({"restore", "--last", "--replace"}).code, ExitCode::done);
    EXPECT_EQ(contentOf(path), "new");
    // With nothing in the way it is a plain restore.
    fs::remove(path);
    EXPECT_THAT(run({"restore", "--last", "--replace"}).out, Not(HasSubstr("Undo")));
    EXPECT_EQ(contentOf(path), "old");
}

TEST_F(RestoreCommand, leavesWhatIsInTheWayWhereTheItemDoesNotComeBack) {
    const std::string path = file("a", "old");
    trash({path});
    file("a", "new");
    // The Trash no longer says where it comes from.
    fs::remove(data_ / "Trash/info/a.trashinfo");
    EXPECT_EQ(run({"restore", path, "--replace"}).code, ExitCode::failed);
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_EQ(receipts().size(), 1U);
}

TEST_F(RestoreCommand, touchesNothingInADryRun) {
    const std::string path = file("a", "old");
    trash({path});
    EXPECT_THAT(run({"restore", "--dry-run", "--last"}).out, HasSubstr("Would be restored."));
    file("a", "new");
    EXPECT_THAT(run({"restore", "--dry-run", "--replace", "a"}).out, HasSubstr("would go to the Trash"));
    EXPECT_THAT(run({"restore", "--dry-run", "a"}).out, HasSubstr("Another item is in its place."));
    EXPECT_EQ(contentOf(path), "new");
    EXPECT_EQ(receipts().size(), 1U);
}

TEST_F(RestoreCommand, listsWhatIsInTheTrashAndWhatIsGoneWhenAsked) {
    trash({file("a"), file("b")});
    fs::remove(data_ / "Trash/files/a");
    const CommandRun list = run({"restore"});
    EXPECT_THAT(list.out, HasSubstr(folder_ / "b"));
    EXPECT_THAT(list.out, Not(HasSubstr(folder_ / "a")));
    EXPECT_THAT(list.messages, HasSubstr("1 more is no longer in the Trash; --gone lists it."));
    EXPECT_THAT(run({"restore", "--gone"}).out, HasSubstr(folder_ / "a"));
    EXPECT_THAT(run({"restore", "--json"}).out, Not(HasSubstr("\"present\": false")));
    EXPECT_THAT(run({"restore", "--json", "--gone"}).out, HasSubstr("\"present\": false"));
    EXPECT_EQ(run({"restore", "a"}).code, ExitCode::failed);
}

TEST_F(RestoreCommand, takesNoContradictingOptions) {
    trash({file("a"), file("b")});
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"--last", "--all"},
                                                  {"--last", "a"},
                                                  {"--all", "--as", "c"},
                                                  {"a", "--as", "x/y"},
                                                  {"a", "--as", ".."},
                                                  {"a", "--as", "c", "--replace"},
                                                  {"--replace"},
                                                  {"--dry-run"}}) {
        std::vector<std::string> arguments{"restore"};
        arguments.insert(arguments.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(run(arguments).code, ExitCode::wrongUsage) << wrong.front();
    }
    EXPECT_EQ(receipts().size(), 2U);
}

TEST_F(RestoreCommand, showsWhatCameBackInTheSavedScan) {
    const std::string path = file("sub/letter.txt");
    file("other");
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    const std::string before = listed();
    trash({folder_ / "sub", folder_ / "other"});
    EXPECT_THAT(listed(), Not(HasSubstr("sub/")));
    EXPECT_EQ(run({"restore", "other"}).messages, "");
    EXPECT_THAT(listed(), Not(HasSubstr("sub/")));
    EXPECT_THAT(listed(), HasSubstr("other"));
    EXPECT_EQ(run({"restore", "sub"}).messages, "");
    EXPECT_EQ(listed(), before);
    EXPECT_THAT(run({"search", "letter"}).out, HasSubstr("letter.txt"));
    // The scan is the newest again: it goes on from there.
    EXPECT_THAT(run({"history", "--json"}).out, Not(HasSubstr("\"number\": 2")));
}

TEST_F(RestoreCommand, keepsOutOfTheScanWhatIsNoLongerInARestoredFolder) {
    file("sub/one");
    file("sub/two");
    file("sub/three");
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    ASSERT_EQ(run({"remove", "--confirm", "DELETE", folder_ / "sub/one"}).code, ExitCode::done);
    trash({folder_ / "sub/two"});
    trash({folder_ / "sub"});
    EXPECT_EQ(run({"restore", "--last"}).code, ExitCode::done);
    const std::string children = run({"list", "--all", folder_ / "sub"}).out;
    EXPECT_THAT(children, Not(HasSubstr("one")));
    EXPECT_THAT(children, Not(HasSubstr("two")));
    EXPECT_THAT(children, HasSubstr("three"));
}

TEST_F(RestoreCommand, saysThatAScanWasMadeWithoutTheItem) {
    const std::string path = file("a");
    trash({path});
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    EXPECT_THAT(run({"restore", path}).messages, HasSubstr("scan again to see it."));
    // One that no scan had seen is no news.
    const std::string other = file("other");
    trash({other});
    EXPECT_EQ(run({"restore", other}).messages, "");
}

TEST_F(RestoreCommand, saysThatTheScanDoesNotKnowTheNewName) {
    const std::string path = file("a");
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    trash({path});
    EXPECT_THAT(run({"restore", path, "--as", "b"}).messages,
                HasSubstr("1 item is not in the saved scan under its new name; scan again to see it."));
    EXPECT_THAT(listed(), Not(HasSubstr("a\n")));
    // Under the name that it had, the scan does.
    trash({folder_ / "b"});
    EXPECT_EQ(run({"restore", "b", "--as", "a"}).messages, "");
    EXPECT_THAT(listed(), HasSubstr("a\n"));
}

TEST_F(RestoreCommand, printsOneJSONObject) {
    const std::string path = file("a", "old");
    trash({path});
    file("a", "new");
    const CommandRun taken = run({"restore", "--json", "a"});
    EXPECT_EQ(taken.code, ExitCode::failed);
    EXPECT_TRUE(taken.out.starts_with("{\"schema\": 1, \"receipts\": [{\"id\": ")) << taken.out;
    const CommandRun swapped = run({"restore", "--json", "--replace", "a"});
    EXPECT_THAT(swapped.out, HasSubstr("\"succeeded\": true"));
    EXPECT_THAT(swapped.out, HasSubstr("\"replaced\": "));
    EXPECT_EQ(std::ranges::count(swapped.out, '\n'), 1);
}

}  // namespace KestrelCLI
