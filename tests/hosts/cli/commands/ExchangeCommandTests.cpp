#include "commands/Commands.hpp"
#include "store/HistoryAccess.hpp"

#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/HistoryCommandTest.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace KestrelCore;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace fs = std::filesystem;

namespace {

class ExchangeCommands : public HistoryCommandTest {
protected:
    static CommandRun run(std::vector<std::string> arguments, const Terminal& terminal = {}) {
        return runCommands(std::move(arguments),
                           {addScanCommand, addListCommand, addSearchCommand, addSummaryCommand, addHistoryCommand,
                            addGrowthCommand, addTrashCommand, addRemoveCommand, addExportCommand, addImportCommand,
                            addSuggestCommand},
                           terminal);
    }
    /// Takes over an export of ncdu that claims to be of the folder that is there, with a file that is not.
    [[nodiscard]] CommandRun importForeign(const std::string& name, int bytes = 4096) const {
        const std::string file = home_.makeFile(
            "export.json", fmt::format(R"([1,2,{{"progname":"ncdu","timestamp":1}},[{{"name":"{}"}},)"
                                       R"({{"name":"foreign","asize":5,"dsize":{}}},{{"name":"own","dsize":512}}]])",
                                       folder_.path(), bytes));
        return run({"import", file, "--name", name});
    }
    [[nodiscard]] std::string own() const { return folder_.makeFile("own", std::string(5000, 'x')); }
    [[nodiscard]] SnapshotHistory history() const {
        return SnapshotHistory{URL::fromPath(data_ / "kestrel/history.sqlite")};
    }
    static std::string contentOf(const std::string& path) {
        std::ifstream file{path, std::ios::binary};
        return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
    }
};

}  // namespace

TEST_F(ExchangeCommands, answerFromAnImportOnlyWhereItIsNamed) {
    (void)own();
    EXPECT_THAT(importForeign("web1").out, HasSubstr("“web1”: " + folder_.path() + " with 3 items, 4.61 kB"));
    // There is none of this disk yet, though its path would fit.
    EXPECT_THAT(run({"list", folder_.path()}).messages, HasSubstr("There is no scan of this disk yet"));
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    ASSERT_EQ(importForeign("web1", 8192).code, ExitCode::done);
    EXPECT_THAT(run({"list", folder_.path()}).out, AllOf(HasSubstr("own"), Not(HasSubstr("foreign"))));
    EXPECT_THAT(run({"list"}).out, Not(HasSubstr("foreign")));
    EXPECT_THAT(run({"search", "foreign"}).out, Not(HasSubstr("foreign")));
    EXPECT_THAT(run({"list", "--at", "web1"}).out, AllOf(HasSubstr("foreign"), HasSubstr("import “web1”")));
    EXPECT_THAT(run({"list", "--at", "1", folder_.path()}).out, HasSubstr("foreign"));
    EXPECT_THAT(run({"search", "--at", "web1", "foreign"}).out, HasSubstr("foreign"));
    EXPECT_THAT(run({"summary", "--at", "3"}).out, HasSubstr("8.70 kB"));
    EXPECT_EQ(run({"list", "--at", "web2"}).code, ExitCode::wrongUsage);
    EXPECT_THAT(run({"growth", "--until", "web1"}).out, AllOf(HasSubstr("foreign"), HasSubstr("4.10 kB")));
    EXPECT_THAT(run({"history"}).out, HasSubstr("import “web1”: " + folder_.path()));
    EXPECT_THAT(run({"history", "--json"}).out, HasSubstr(R"("sourceName": "web1")"));
}

TEST_F(ExchangeCommands, neverLetAnImportDecideWhatGoes) {
    const std::string path = own();
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    ASSERT_EQ(importForeign("web1").code, ExitCode::done);
    // The scan below stays the newest of its root: what goes is taken out of it, and the import stays as it was.
    EXPECT_EQ(run({"remove", path, "--confirm", "DELETE"}).code, ExitCode::done);
    EXPECT_FALSE(fs::exists(path));
    EXPECT_EQ(history().newest(folder_.path())->records, 1);
    EXPECT_EQ(history().generation(2)->records, 3);
    EXPECT_FALSE(history().removing(2, {Text{folder_.path() + "/foreign"}}));
    EXPECT_EQ(run({"trash", "--at", "web1", path}).code, ExitCode::wrongUsage);
    EXPECT_THAT(run({"suggest", "--at", "web1"}).messages, HasSubstr("An imported scan is of another disk"));
}

/// An attacker's export names files that are there.
TEST_F(ExchangeCommands, giveRecordsThatTheGateRefuses) {
    const std::string path = own();
    ASSERT_EQ(importForeign("web1").code, ExitCode::done);
    const FileRecord record = *history().record(1, path);
    EXPECT_FALSE(record.identity());
    DeletionCoordinator coordinator{FileManager::standard()};
    for (const DeletionMode mode : {DeletionMode::trash, DeletionMode::permanent}) {
        for (const auto& result :
             coordinator.execute({.records = {record}, .mode = mode, .typedConfirmation = Text{"DELETE"}}))
            EXPECT_FALSE(result.succeeded);
    }
    EXPECT_EQ(contentOf(path).size(), 5000U);
}

TEST_F(ExchangeCommands, writeAWholeFileOrNone) {
    (void)own();
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    const std::string file = home_ / "out.json.gz";
    const CommandRun written = run({"export", folder_.path(), "-o", file, "--json"});
    EXPECT_THAT(written.out, HasSubstr(R"("records": 2)"));
    EXPECT_THAT(contentOf(file), testing::StartsWith("\x1f\x8b"));
    EXPECT_EQ(run({"import", file}).code, ExitCode::done);
    EXPECT_EQ(history().generations().front().source.name, Text{"out"});
    EXPECT_THAT(run({"export", "-o", file}).messages, HasSubstr("is there already; --force replaces it."));
    EXPECT_EQ(run({"export", "--force", "-o", file}).code, ExitCode::done);
    // The one that was there stays when nothing can be written.
    EXPECT_EQ(run({"export", folder_.path() + "/gone", "--force", "-o", file}).code, ExitCode::failed);
    EXPECT_EQ(run({"export", "-o", home_ / "missing/out.json"}).code, ExitCode::failed);
    EXPECT_THAT(contentOf(file), testing::StartsWith("\x1f\x8b"));
    EXPECT_EQ(std::distance(fs::directory_iterator{home_.path()}, fs::directory_iterator{}), 1);
    EXPECT_EQ(run({"export"}, {.isOutput = true}).code, ExitCode::wrongUsage);
    EXPECT_THAT(run({"export", "--format", "csv"}).out, HasSubstr("path,name,kind"));
}

TEST_F(ExchangeCommands, keepNothingOfABrokenFile) {
    const std::string file = home_.makeFile("broken.json", R"([1,2,{},[{"name":"/srv"},{"name":"a/b"}]])");
    const CommandRun result = run({"import", file});
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_THAT(result.messages, HasSubstr("was not imported: A name holds a slash, at byte 33."));
    EXPECT_TRUE(history().generations().empty());
    EXPECT_EQ(run({"import", file, "--name", "7d"}).code, ExitCode::wrongUsage);
}

TEST_F(ExchangeCommands, writeNothingIntoAFileOfAnUnknownForm) {
    (void)own();
    ASSERT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    for (const char* name : {"o.xlsx", "o.txt.gz"}) {
        const CommandRun refused = run({"export", "-o", home_ / name});
        EXPECT_EQ(refused.code, ExitCode::wrongUsage) << name;
        EXPECT_THAT(refused.messages, HasSubstr("say --format ncdu, json or csv.")) << name;
        EXPECT_FALSE(fs::exists(home_ / name)) << name;
        EXPECT_EQ(run({"export", "-o", home_ / name, "--format", "csv"}).code, ExitCode::done) << name;
    }
    for (const char* name : {"plain", "o.JSON", "o.csv.zst", "o.ndjson", "o.ncdu.gz"})
        EXPECT_EQ(run({"export", "-o", home_ / name}).code, ExitCode::done) << name;
}

}  // namespace KestrelCLI
