#include "commands/Commands.hpp"
#include "store/Places.hpp"
#include "store/ScanSaving.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

using namespace KestrelCore;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace {

/// A whole scan of a folder with one file, number 1, and one that was stopped before it reached the file, number 2.
class IncompleteScan : public HistoryCommandTest {
protected:
    IncompleteScan() {
        (void)folder_.makeFile("docs/large.bin", std::string(1 << 20, 'x'));
        EXPECT_EQ(run({"scan", path()}).code, ExitCode::done);
        SnapshotHistory history{URL::fromPath(historyPath())};
        const ScanSnapshot whole = history.load(1);
        std::vector<FileRecord> found;
        for (const FileRecord& record : whole.records()) {
            if (record.kind() == FileKind::directory) found.push_back(record);
        }
        Session session{.out = out_, .messages = messages_, .terminal = {}, .options = {}};
        ScanSaving{session}.keepFound(
            ScanSnapshot{UUID::random(), whole.scope(), whole.startedAt(), Date::now(), found, {}});
    }

    [[nodiscard]] std::string path() const { return std::filesystem::canonical(folder_.path()).string(); }
    static CommandRun run(std::vector<std::string> arguments) {
        return runCommands(std::move(arguments), {addScanCommand, addListCommand, addSearchCommand, addMediaCommand,
                                                  addDocumentsCommand, addGrowthCommand, addHistoryCommand});
    }

    std::ostringstream out_;
    std::ostringstream messages_;
    const std::string warning_ = "was stopped before its end: items are missing, and folders look too small.";
};

}  // namespace

TEST_F(IncompleteScan, isKeptAndToldByItsNumber) {
    EXPECT_THAT(messages_.str(), AllOf(HasSubstr("(1 item, "), HasSubstr("is kept as scan 2, marked incomplete.")));
    EXPECT_EQ(out_.str(), "");
}

TEST_F(IncompleteScan, isWarnedOfWhereACommandAnswersFromIt) {
    for (const auto& command : std::vector<std::vector<std::string>>{
             {"list"}, {"list", path()}, {"search", "docs"}, {"list", path() + "/docs/large.bin"}}) {
        EXPECT_EQ(run(command).messages.find("kestrel: Scan 2 of " + path() + " " + warning_ +
                                             " --at 1 answers from a whole one.\n"),
                  0U)
            << command.front();
    }
    EXPECT_EQ(run({"list", "--at", "1", path()}).messages, "");
}

TEST_F(IncompleteScan, isListedAsWhatItIs) {
    EXPECT_THAT(run({"history"}).out, HasSubstr("incomplete"));
    EXPECT_THAT(run({"history", "--json"}).out, HasSubstr("\"isComplete\": false"));
}

TEST_F(IncompleteScan, isMarkedInTheJSONOfWhatAnswersFromIt) {
    for (const auto& command : std::vector<std::vector<std::string>>{
             {"list"}, {"search", "docs"}, {"media"}, {"documents"}, {"growth", "--since", "1", "--until", "2"}}) {
        std::vector<std::string> arguments = command;
        arguments.emplace_back("--json");
        EXPECT_THAT(run(arguments).out, AllOf(HasSubstr("\"number\": 2"), HasSubstr("\"isComplete\": false")))
            << command.front();
    }
    EXPECT_THAT(run({"list", "--json", "--at", "1"}).out,
                AllOf(HasSubstr("\"number\": 1"), HasSubstr("\"isComplete\": true")));
}

TEST_F(IncompleteScan, thatIsKeptStandsBesideTheErrorInJSON) {
    const CommandAdder add = [](CLI::App& app, Session& /*session*/) {
        (void)addCommand(app, {.name = "stopped", .operands = "", .description = "", .examples = {}},
                         [](const Operands&) -> ExitCode {
                             throw InterruptedScan{SnapshotHistory{URL::fromPath(historyPath())}.generations().front()};
                         });
    };
    const CommandRun stopped = runCommands({"stopped", "--json"}, {add});
    EXPECT_EQ(stopped.code, ExitCode::interrupted);
    EXPECT_THAT(stopped.out, AllOf(HasSubstr("\"error\": {\"code\": \"interrupted\""),
                                   HasSubstr("\"snapshot\": {\"number\": 2, "), HasSubstr("\"isComplete\": false")));
}

TEST_F(IncompleteScan, isNoMeasureOfGrowthUnlessItIsNamed) {
    (void)folder_.makeFile("docs/new.bin", std::string(1 << 20, 'x'));
    const CommandRun scan = run({"scan", path()});
    EXPECT_THAT(scan.out, AllOf(HasSubstr("more than"), HasSubstr("new.bin"))) << scan.messages;
    const CommandRun growth = run({"growth"});
    EXPECT_EQ(growth.messages, "");
    EXPECT_THAT(growth.out, AllOf(HasSubstr("scan 1,"), Not(HasSubstr("large.bin")))) << growth.out;
    EXPECT_THAT(run({"growth", "--since", "2"}).messages, HasSubstr(warning_));
}

TEST_F(IncompleteScan, isNoMeasureOfGrowthWhereItIsTheOnlyEarlierOne) {
    ASSERT_EQ(run({"history", "--forget", "1"}).code, ExitCode::done);
    ASSERT_EQ(run({"scan", path()}).code, ExitCode::done);
    const CommandRun growth = run({"growth"});
    EXPECT_EQ(growth.code, ExitCode::failed) << growth.out;
    EXPECT_THAT(growth.messages, HasSubstr("There is no earlier whole scan of " + path()));
}

TEST_F(IncompleteScan, doesNotReplaceTheWholeScanOfADatabase) {
    Session session{.out = out_, .messages = messages_, .terminal = {}, .options = {}};
    session.options.store = data_.path() + "/one.sqlite";
    messages_.str("");
    ScanSaving{session}.keepFound(SnapshotHistory{URL::fromPath(historyPath())}.load(2));
    EXPECT_FALSE(std::filesystem::exists(*session.options.store));
    EXPECT_EQ(messages_.str(), "");
}

}  // namespace KestrelCLI
