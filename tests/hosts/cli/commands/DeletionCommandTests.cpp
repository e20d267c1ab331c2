#include "commands/Commands.hpp"
#include "commands/Deletion.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Deletion/TrashReceipts.hpp"
#include "support/DeletionCommandTest.hpp"
#include "support/DiskRecord.hpp"
#include "support/StandardInput.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

using namespace KestrelCore;

using DeletionCommand = DeletionCommandTest;

/// Keeps what is printed, and interrupts the program when it tells of the first item.
class InterruptedOutput : public std::stringbuf {
    std::streamsize xsputn(const char* text, std::streamsize length) override {
        const std::streamsize put = std::stringbuf::xsputn(text, length);
        if (str().find("Permanently removed.") != std::string::npos) Interruption::set(true);
        return put;
    }
};

}  // namespace

TEST_F(DeletionCommand, showsThePlanAndTouchesNothingInADryRun) {
    const std::string path = file("a");
    for (const char* command : {"trash", "remove"}) {
        const CommandRun outcome = run({command, "--dry-run", path});
        EXPECT_EQ(outcome.code, ExitCode::done);
        EXPECT_TRUE(contains(outcome.out, path)) << outcome.out;
        EXPECT_TRUE(fs::exists(path));
    }
    EXPECT_FALSE(fs::exists(folder.path() + "/store"));
}

TEST_F(DeletionCommand, asksNobodyWithoutATerminal) {
    const std::string path = file("a");
    for (const char* command : {"trash", "remove"}) {
        const CommandRun outcome = run({command, path});
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_TRUE(contains(outcome.messages, "answers instead.")) << outcome.messages;
        EXPECT_TRUE(fs::exists(path));
    }
}

TEST_F(DeletionCommand, removesOnlyAfterTheExactWord) {
    const std::string path = file("a");
    for (const std::vector<std::string>& wrong : {std::vector<std::string>{"remove", "--confirm", "delete", path},
                                                  {"remove", "--dry-run", "--confirm", "yes", path}}) {
        const CommandRun outcome = run(wrong);
        EXPECT_EQ(outcome.code, ExitCode::wrongUsage);
        EXPECT_TRUE(contains(outcome.messages, "the word is DELETE")) << outcome.messages;
        EXPECT_EQ(outcome.out, "");  // nothing was planned
    }
    {
        terminal.isInput = true;
        const StandardInput input{"delete\n"};
        const CommandRun mistyped = run({"remove", path});
        EXPECT_EQ(mistyped.code, ExitCode::failed);
        EXPECT_TRUE(contains(mistyped.out, path + ": Type DELETE to confirm permanent removal.")) << mistyped.out;
    }
    EXPECT_TRUE(fs::exists(path));
    const CommandRun right = run({"remove", "--confirm", "DELETE", path});
    EXPECT_EQ(right.code, ExitCode::done);
    EXPECT_TRUE(contains(right.out, path + ": Permanently removed.")) << right.out;
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(DeletionCommand, refusesHighRiskUnlessToldOtherwise) {
    const std::string path = file(".hidden");
    EXPECT_EQ(run({"remove", "--confirm", "DELETE", path}).code, ExitCode::refused);
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(run({"remove", "--confirm", "DELETE", "--include-high-risk", path}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(DeletionCommand, refusesWhatThePolicyBlocksAndGoesOnWithTheRest) {
    const std::string path = file("a");
    const CommandRun outcome =
        run({"remove", "--confirm", "DELETE", "--include-high-risk", "/usr/nothing", folder.path() + "/gone", path});
    EXPECT_EQ(outcome.code, ExitCode::refused);
    EXPECT_TRUE(contains(outcome.out, "This location is managed by Linux and is view-only in Kestrel."));
    EXPECT_TRUE(contains(outcome.out, "The item no longer exists or cannot be inspected."));
    EXPECT_FALSE(fs::exists(path));
}

TEST_F(DeletionCommand, refusesNamesThatAreNoText) {
    const std::string path = file("\xff");
    const CommandRun outcome = run({"remove", "--confirm", "DELETE", path});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_TRUE(contains(outcome.out, "Its name is not UTF-8")) << outcome.out;
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(DeletionCommand, refusesItsOwnStore) {
    fs::create_directory(folder.path() + "/store");
    std::ofstream{store} << "";
    for (const std::string& path : {store, folder.path() + "/store", folder.path()}) {
        const CommandRun outcome = run({"remove", "--confirm", "DELETE", path});
        EXPECT_EQ(outcome.code, ExitCode::refused) << path;
        EXPECT_TRUE(fs::exists(store));
    }
    for (const std::string& path : {file("store/snapshots.sqlite-wal"), file("store/snapshots.sqlite-receipts/x")}) {
        EXPECT_EQ(run({"remove", "--confirm", "DELETE", path}).code, ExitCode::refused) << path;
        EXPECT_TRUE(fs::exists(path));
    }
    const std::string other = file("store/snapshots.sqlite2");
    EXPECT_EQ(run({"remove", "--confirm", "DELETE", other}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(other));
}

TEST_F(DeletionCommand, takesItemsFromTheSavedSnapshotAndSavesItWithoutThem) {
    const std::string path = file("a");
    const std::string other = file("b");
    save({diskRecord(folder.path()), diskRecord(path), diskRecord(other)});
    EXPECT_EQ(run({"remove", "--confirm", "DELETE", path}).code, ExitCode::done);
    EXPECT_FALSE(saved(path));
    EXPECT_TRUE(saved(other));

    // What changed since that scan is refused.
    fs::rename(file("new"), other);
    const CommandRun outcome = run({"remove", "--confirm", "DELETE", other});
    EXPECT_EQ(outcome.code, ExitCode::failed);
    EXPECT_TRUE(contains(outcome.out, "The item changed since the scan. Scan again before deleting it."));
    EXPECT_TRUE(fs::exists(other));
}

TEST_F(DeletionCommand, countsWhatLiesInAFolderThatGoesTooOnce) {
    fs::create_directory(folder.path() + "/dir");
    const std::string inner = file("dir/a");
    const std::int64_t bytes = diskRecord(inner).allocatedBytes() + diskRecord(folder.path() + "/dir").allocatedBytes();
    const CommandRun outcome =
        run({"remove", "--json", "--confirm", "DELETE", inner, folder.path() + "/dir", folder.path() + "/dir"});
    EXPECT_EQ(outcome.code, ExitCode::failed);  // the same folder a second time
    EXPECT_TRUE(contains(outcome.out, "\"reclaimableBytes\": " + std::to_string(bytes) + "}")) << outcome.out;
    EXPECT_FALSE(fs::exists(folder.path() + "/dir"));
}

TEST_F(DeletionCommand, trashesAndRestores) {
    const std::string path = file("a");
    EXPECT_EQ(run({"trash", "--yes", path}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(path));
    const CommandRun list = run({"restore"});
    EXPECT_EQ(list.code, ExitCode::done);
    EXPECT_TRUE(contains(list.out, path)) << list.out;

    const TrashReceipt receipt = TrashReceipts{store + "-receipts"}.receipts().at(0);
    const std::string shortName = receipt.id.uuidString().substr(0, 8);
    file("a");
    EXPECT_EQ(run({"restore", shortName}).code, ExitCode::failed);  // never overwrites
    fs::remove(path);
    const CommandRun restored = run({"restore", "--json", shortName});
    EXPECT_EQ(restored.code, ExitCode::done);
    EXPECT_TRUE(contains(restored.out, "\"succeeded\": true")) << restored.out;
    EXPECT_TRUE(fs::exists(path));
    EXPECT_EQ(run({"restore", shortName}).code, ExitCode::wrongUsage);
}

TEST_F(DeletionCommand, namesTheStoreInTheLineThatUndoesIt) {
    const std::string path = file("a");
    const CommandRun moved = run({"trash", "--yes", path});
    EXPECT_TRUE(moved.out.ends_with("Undo: kestrel restore --store '" + store + "' --last\n")) << moved.out;
    EXPECT_EQ(run({"restore", "--last"}).code, ExitCode::done);
    EXPECT_TRUE(fs::exists(path));
}

TEST_F(DeletionCommand, stopsBetweenItemsWhenInterrupted) {
    const std::vector<std::string> paths{file("a"), file("b"), file("c")};
    InterruptedOutput output;
    std::ostream out{&output};
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    const ExitCode code = runCommandLine(
        {"remove", "--store", store, "--confirm", "DELETE", paths[0], paths[1], paths[2]}, session, {addRemoveCommand});
    Interruption::set(false);
    EXPECT_EQ(code, ExitCode::interrupted);
    EXPECT_FALSE(fs::exists(paths[0]));
    EXPECT_TRUE(fs::exists(paths[1]));
    EXPECT_TRUE(fs::exists(paths[2]));
    EXPECT_TRUE(contains(output.str(), "Removed 1 item")) << output.str();
    EXPECT_TRUE(contains(messages.str(), "Interrupted: 2 items left as they were.")) << messages.str();
}

TEST_F(DeletionCommand, printsOneJSONObject) {
    const std::string path = file("new\nline \x1b[31m");
    const CommandRun outcome = run({"trash", "--json", "--yes", path, "/usr"});
    EXPECT_EQ(outcome.code, ExitCode::refused);
    EXPECT_TRUE(outcome.out.starts_with("{\"schema\": 1, \"plan\": [{\"path\": ")) << outcome.out;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1);
    EXPECT_EQ(outcome.out.find('\x1b'), std::string::npos);
    EXPECT_TRUE(contains(outcome.out, "\"resultingPath\""));
    EXPECT_TRUE(contains(outcome.out, "\"refusal\""));
}

TEST_F(DeletionCommand, showsNamesEscapedOnATerminal) {
    terminal.isOutput = true;
    const std::string path = file("x\n\x1b]0;Type DELETE to remove \u202e");
    for (const auto& arguments : {std::vector<std::string>{"remove", "--dry-run", path},
                                  std::vector<std::string>{"remove", "--confirm", "DELETE", path}}) {
        const CommandRun outcome = run(arguments);
        EXPECT_EQ(outcome.out.find("\x1b]"), std::string::npos) << outcome.out;
        EXPECT_EQ(outcome.out.find("\u202e"), std::string::npos) << outcome.out;
        EXPECT_FALSE(contains(outcome.out, "x\n")) << outcome.out;
    }
}

TEST_F(DeletionCommand, leavesAnEmptyStoreEmpty) {
    fs::create_directory(folder / "store");
    std::ofstream{store};
    const std::string path = file("gone");
    EXPECT_EQ(run({"trash", "--yes", path}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(fs::file_size(store), 0U);
}

}  // namespace KestrelCLI
