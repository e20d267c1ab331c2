#include "commands/Commands.hpp"
#include "commands/Deletion.hpp"
#include "output/TerminalText.hpp"
#include "store/DeletionRun.hpp"
#include "terminal/Interruption.hpp"
#include "terminal/Question.hpp"

#include "Deletion/TrashReceiptText.hpp"
#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "support/DeletionCommandTest.hpp"
#include "support/DiskRecord.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/StandardInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

using namespace KestrelCore;

constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";
constexpr const char* notUTF8Message = "Its name is not UTF-8, so it can’t be named here. Rename it first.";
constexpr const char* ownStoreMessage = "Kestrel’s own snapshot database is there";

/// Works in a folder of its own while it lives.
class WorkingFolder {
public:
    explicit WorkingFolder(const fs::path& path) : before_{fs::current_path()} { fs::current_path(path); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;
    ~WorkingFolder() { fs::current_path(before_); }

private:
    fs::path before_;
};

class Deletion : public DeletionCommandTest {
protected:
    CommandRun remove(std::vector<std::string> paths) const {
        paths.insert(paths.begin(), {"remove", "--confirm", "DELETE"});
        return run(std::move(paths));
    }
};

}  // namespace

TEST_F(Deletion, leavesTheItemWhoseNameIsTheRepairedTextOfAnOperand) {
    const std::string repaired = folder.makeFile("name\uFFFD", "content");
    const std::string raw = folder.makeFile("name\xFF", "content");
    const CommandRun outcome = remove({raw});
    EXPECT_NE(outcome.code, ExitCode::done);
    EXPECT_TRUE(contains(outcome.out, notUTF8Message)) << outcome.out;
    EXPECT_TRUE(fs::exists(raw));
    EXPECT_TRUE(fs::exists(repaired));
    EXPECT_EQ(remove({repaired}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(repaired));
}

TEST_F(Deletion, leavesTheItemWhoseFolderIsTheRepairedTextOfTheWorkingFolder) {
    const std::string repaired = folder.makeFile("dir\uFFFD/a", "content");
    const std::string raw = folder.makeFile("dir\xFF/a", "content");
    const WorkingFolder inside{fs::path{raw}.parent_path()};
    EXPECT_TRUE(contains(remove({"a"}).out, notUTF8Message));
    EXPECT_TRUE(fs::exists(raw));
    EXPECT_TRUE(fs::exists(repaired));
}

TEST_F(Deletion, takesTheNameThatWasTypedAndNotACanonicallyEqualOne) {
    const std::string composed = folder.makeFile("caf\u00e9", "composed");
    const std::string decomposed = folder.makeFile("cafe\u0301", "decomposed");
    save({diskRecord(folder.path()), diskRecord(decomposed)});
    EXPECT_EQ(remove({composed}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(composed));
    EXPECT_TRUE(fs::exists(decomposed));
    const auto kept = SQLiteSnapshotStore{URL::fromPath(store)}.loadLatest().value().record(decomposed);
    ASSERT_TRUE(kept);
    EXPECT_EQ(kept->path().string(), decomposed);
}

TEST_F(Deletion, showsEveryItemOfThePlanWholeOnANarrowTerminal) {
    const EnvironmentSetting plain{"NO_COLOR", "1"};
    terminal.isOutput = true;
    terminal.columns = 40;
    const std::string kept = folder.makeFile("one of two long names that differ in the middle a and end alike");
    const std::string hidden = folder.makeFile(".a hidden name that is too long for a line of the terminal");
    const CommandRun outcome = run({"trash", "--dry-run", kept, hidden});
    EXPECT_TRUE(contains(outcome.out, kept)) << outcome.out;
    EXPECT_TRUE(contains(outcome.out, hidden)) << outcome.out;
    // The reason is parted between words, within the terminal.
    std::istringstream lines{outcome.out};
    std::string reasons;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with("      ")) continue;
        EXPECT_LE(TerminalText::width(line), terminal.columns) << line;
        std::istringstream words{line};
        for (std::string word; words >> word;) reasons += word + ' ';
    }
    EXPECT_TRUE(contains(reasons, "Refused: The item is of high risk; --include-high-risk lets it go. "))
        << outcome.out;
}

TEST_F(Deletion, showsTheHomeDirectoryAsATildeOnATerminalOnly) {
    const std::string path = folder.makeFile("home/a", "content");
    for (const bool isTerminal : {true, false}) {
        std::ostringstream out;
        std::ostringstream messages;
        Session session{.out = out,
                        .messages = messages,
                        .terminal = {.isOutput = isTerminal},
                        .options = {},
                        .home = folder / "home"};
        session.options.store = store;
        EXPECT_EQ(runDeletion(session, {path}, {.isConfirmed = true}), ExitCode::done);
        EXPECT_EQ(contains(out.str(), "normal  ~/a\n"), isTerminal) << out.str();
        EXPECT_EQ(contains(out.str(), "~/a: Moved to Trash."), isTerminal) << out.str();
        EXPECT_EQ(contains(out.str(), path + ": Moved to Trash."), !isTerminal) << out.str();
        ASSERT_EQ(run({"restore", path}).code, ExitCode::done);
    }
}

TEST_F(Deletion, trashesAndRestoresWithAStoreOfARelativePath) {
    const WorkingFolder inside{folder.path()};
    for (const char* relative : {"snapshots.sqlite", "./snapshots.sqlite", "sub/snapshots.sqlite"}) {
        store = relative;
        const std::string path = folder.makeFile("a", "content");
        const CommandRun outcome = run({"trash", "--yes", "a"});
        EXPECT_EQ(outcome.code, ExitCode::done) << outcome.out << outcome.messages;
        EXPECT_FALSE(fs::exists(path));
        const CommandRun list = run({"restore"});
        EXPECT_TRUE(contains(list.out, path)) << list.out;
        const std::string receipts = folder.path() + "/" + relative + "-receipts";
        ASSERT_FALSE(fs::is_empty(receipts));
        EXPECT_TRUE(contains(remove({receipts}).out, ownStoreMessage));
        EXPECT_TRUE(fs::exists(receipts));
    }
}

TEST_F(Deletion, refusesWhatBelongsToAStoreThatIsNamedByALink) {
    const std::string database = folder.makeFile("place/real.sqlite");
    const std::string receipts = folder.makeFolder("names/link.sqlite-receipts");
    store = folder / "names/link.sqlite";
    fs::create_symlink(database, store);
    for (const std::string& path : {database, receipts, folder / "names", folder / "place"}) {
        const CommandRun outcome = remove({path});
        EXPECT_EQ(outcome.code, ExitCode::refused) << path;
        EXPECT_TRUE(contains(outcome.out, ownStoreMessage)) << outcome.out;
        EXPECT_TRUE(fs::exists(path));
    }
    // The link's folder may itself be reached through a link.
    fs::create_directory_symlink(folder / "names", folder / "other");
    store = folder / "other/link.sqlite";
    EXPECT_TRUE(contains(remove({receipts}).out, ownStoreMessage));
    EXPECT_TRUE(fs::exists(receipts));
}

TEST_F(Deletion, restoresWhereverTheDataFolderIsWritten) {
    for (const std::string& written : {folder / "data/", folder / "data//deeper/./", folder / "data/../data"}) {
        const EnvironmentSetting setting{"XDG_DATA_HOME", written.c_str()};
        const std::string path = folder.makeFile("a", "content");
        ASSERT_EQ(run({"trash", "--yes", path}).code, ExitCode::done);
        const CommandRun list = run({"restore", "--json"});
        EXPECT_TRUE(contains(list.out, "\"present\": true")) << written << ": " << list.out;
        const std::size_t at = list.out.find("\"id\": \"");
        ASSERT_NE(at, std::string::npos) << written;
        const CommandRun restored = run({"restore", list.out.substr(at + 7, 36)});
        EXPECT_EQ(restored.code, ExitCode::done) << written << ": " << restored.out;
        EXPECT_TRUE(fs::exists(path));
    }
}

TEST_F(Deletion, tellsWhatThePolicyRefusedFromWhatIsGoneOrChanged) {
    const std::string path = folder.makeFile("a", "content");
    save({diskRecord(folder.path()), diskRecord(path)});
    EXPECT_EQ(remove({folder / "gone"}).code, ExitCode::failed);
    EXPECT_EQ(remove({""}).code, ExitCode::wrongUsage);
    fs::rename(folder.makeFile("new"), path);
    EXPECT_EQ(remove({path}).code, ExitCode::failed);
    EXPECT_EQ(remove({folder.makeFile(".hidden")}).code, ExitCode::refused);
    EXPECT_EQ(remove({folder / "gone", "/usr/nothing"}).code, ExitCode::refused);

    const fs::path executable = fs::read_symlink("/proc/self/exe");
    const TemporaryFolder beside{executable.parent_path().parent_path()};
    fs::create_hard_link(executable, beside / "harmless");
    EXPECT_EQ(remove({beside / "harmless"}).code, ExitCode::refused);
    EXPECT_TRUE(fs::exists(beside / "harmless"));
    EXPECT_EQ(exitCode({.id = {},
                        .path = {},
                        .resultingPath = {},
                        .message = {},
                        .errorCase = KestrelError::Case::safetyViolation}),
              ExitCode::refused);
}

TEST_F(Deletion, restoresNothingToWhereThePolicyForbidsIt) {
    const TrashReceipt receipt{.id = UUID::random(),
                               .path = "/usr/kestrel-test",
                               .resultingPath = {},
                               .trashedAt = Date::now(),
                               .identity = {1, 2}};
    folder.makeFile("store/snapshots.sqlite-receipts/" + receipt.id.uuidString() + ".receipt", receiptText(receipt));
    const CommandRun outcome = run({"restore", receipt.id.uuidString()});
    EXPECT_EQ(outcome.code, ExitCode::refused);
    EXPECT_TRUE(contains(outcome.out, "view-only")) << outcome.out;
}

TEST_F(Deletion, approvesNothingOfTheTrashInADryRun) {
    const std::string trashed = folder.makeFile("data/Trash/files/a", "content");
    for (const std::string& path : {trashed, folder / "data/Trash", folder / "data"}) {
        const CommandRun outcome = run({"remove", "--dry-run", "--json", path});
        EXPECT_EQ(outcome.code, ExitCode::refused);
        EXPECT_TRUE(contains(outcome.out, "\"refusal\": \"Trash and Time Machine content are protected"))
            << outcome.out;
        EXPECT_TRUE(contains(outcome.out, "\"reclaimableBytes\": 0}")) << outcome.out;
    }
}

TEST_F(Deletion, takesNoItemForAStoreThatCannotBeFound) {
    fs::create_symlink("loop", folder / "loop");
    store = folder / "loop/snapshots.sqlite";
    const std::string path = folder.makeFile("a", "content");
    const CommandRun outcome = run({"remove", "--confirm", "DELETE", path});
    EXPECT_EQ(outcome.code, ExitCode::done) << outcome.out;
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(Deletion, asksNothingOnceItIsInterrupted) {
    terminal.isInput = true;
    const std::string path = folder.makeFile("a", "content");
    const StandardInput input{"y\n"};
    Interruption::set(true);
    const CommandRun outcome = run({"trash", path});
    std::ostringstream out;
    std::ostringstream messages;
    const Session session{.out = out, .messages = messages, .terminal = {.isInput = true}, .options = {}};
    EXPECT_THROW((void)ask(session, "Sure?", ""), Interrupted);
    Interruption::set(false);
    EXPECT_EQ(outcome.code, ExitCode::interrupted);
    EXPECT_EQ(outcome.out + messages.str(), "");
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(Deletion, countsAnItemOnceThatIsRepeatedOrLiesBelowAnotherWhateverTheOrder) {
    const std::string inner = folder.makeFile("dir/a", std::string(100'000, 'x'));
    const std::string beside = folder.makeFile("dir-b", "content");
    const std::string dir = folder / "dir";
    const std::int64_t bytes =
        diskRecord(inner).allocatedBytes() + diskRecord(dir).allocatedBytes() + diskRecord(beside).allocatedBytes();
    const std::string expected = "\"reclaimableBytes\": " + std::to_string(bytes) + "}";
    for (const auto& paths : {std::vector{inner, dir, beside}, std::vector{dir, inner, beside, dir},
                              std::vector{beside, dir, inner, inner, beside}}) {
        std::vector<std::string> arguments{"remove", "--dry-run", "--json"};
        arguments.insert(arguments.end(), paths.begin(), paths.end());
        const CommandRun outcome = run(arguments);
        EXPECT_TRUE(contains(outcome.out, expected)) << outcome.out << expected;
    }
}

TEST_F(Deletion, printsThePlanAsJSONWhenTheAnswerIsNo) {
    terminal.isInput = true;
    const std::string path = folder.makeFile("a", "content");
    for (const char* command : {"trash", "remove"}) {
        const StandardInput input{"n\n"};
        const CommandRun outcome = run({command, "--json", path});
        EXPECT_EQ(outcome.code, ExitCode::failed);
        EXPECT_TRUE(outcome.out.starts_with("{\"schema\": 1, \"plan\": [{\"path\": ")) << outcome.out;
        EXPECT_TRUE(outcome.out.ends_with("\"reclaimableBytes\": 0}\n")) << outcome.out;
        EXPECT_FALSE(contains(outcome.out, "\"succeeded\": true")) << outcome.out;
        EXPECT_TRUE(fs::exists(path));
    }
    const StandardInput input{"n\n"};
    EXPECT_TRUE(contains(run({"trash", "--json", path}).out, "\"results\": [],"));
}

TEST_F(Deletion, namesNothingAgainstARemovedWorkingFolder) {
    const std::string path = file("x");
    folder.makeFolder("gone");
    const WorkingFolder inside{folder / "gone"};
    fs::remove(folder / "gone");
    const CommandRun outcome = remove({path.substr(1)});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_TRUE(contains(outcome.out, "The current folder no longer exists.")) << outcome.out;
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(Deletion, takesTheParentBehindALinkAsTheSystemDoes) {
    const std::string meant = folder.makeFile("dd/real/f", "content");
    const std::string other = folder.makeFile("dd/f", "content");
    folder.makeFolder("dd/real/sub");
    fs::create_directory_symlink("real/sub", folder / "dd/l");
    EXPECT_EQ(remove({folder / "dd/l/../f"}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(meant));
    EXPECT_TRUE(fs::exists(other));
    EXPECT_TRUE(contains(remove({folder / "dd/nothing/../f"}).out, missingMessage));
    EXPECT_TRUE(fs::exists(other));
    const WorkingFolder inside{folder / "dd/real/sub"};
    EXPECT_EQ(remove({"..//./../f"}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(other));
}

TEST_F(Deletion, refusesALastDotAndASlashBehindAFile) {
    const std::string path = folder.makeFile("a/b/c", "content");
    const WorkingFolder inside{folder / "a/b"};
    for (const char* name : {".", "..", "./", "..//", "../b/.", "../b/./", "c/..", "/"}) {
        const CommandRun outcome = remove({name});
        EXPECT_EQ(outcome.code, ExitCode::refused) << name;
        EXPECT_TRUE(contains(outcome.out, "Refused: ")) << name;
    }
    EXPECT_TRUE(contains(remove({path + "/"}).out, missingMessage));
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(remove({folder / "a/b/"}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(folder / "a/b"));
}

TEST_F(Deletion, saysWhatReallyComesFree) {
    const std::string content(100'000, 'x');
    const std::string first = folder.makeFile("a/0", content);
    const std::int64_t bytes = diskRecord(first).allocatedBytes();
    for (const char* name : {"a/1", "a/2", "b/3"}) {
        folder.makeFolder("b");
        fs::create_hard_link(first, folder / name);
    }
    const auto folders = [&](std::initializer_list<const char*> names) {
        std::int64_t sum = 0;
        for (const char* name : names) sum += diskRecord(folder / name).allocatedBytes();
        return sum;
    };
    const auto frees = [&](const std::vector<std::string>& paths) {
        std::vector<std::string> arguments{"remove", "--json", "--dry-run"};
        for (const std::string& path : paths) arguments.push_back(folder / path);
        const std::string out = run(arguments).out;
        return out.substr(out.rfind(": ") + 2);
    };
    EXPECT_EQ(frees({"a/0", "a/1", "b/3"}), "0}\n") << "three of four names";
    EXPECT_EQ(frees({"a"}), std::to_string(folders({"a"})) + "}\n") << "three of four names in a folder";
    EXPECT_EQ(frees({"a", "b/3", "a/0"}), std::to_string(folders({"a"}) + bytes) + "}\n") << "all names";
    EXPECT_EQ(frees({"a", "b"}), std::to_string(folders({"a", "b"}) + bytes) + "}\n");
    // The folder's own line has each file once, and the folders' own blocks.
    EXPECT_TRUE(contains(run({"remove", "--json", "--dry-run", folder / "a"}).out,
                         "\"displayBytes\": " + std::to_string(folders({"a"}) + bytes)));
    const std::string freed = "\"reclaimableBytes\": " + std::to_string(folders({"a"})) + "}";
    const CommandRun outcome = run({"remove", "--json", "--confirm", "DELETE", folder / "a"});
    EXPECT_TRUE(contains(outcome.out, freed)) << outcome.out;
}

}  // namespace KestrelCLI
