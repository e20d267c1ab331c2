#include "commands/Commands.hpp"

#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "report/ReportPage.hpp"
#include "support/HistoryCommandTest.hpp"
#include "support/Records.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

using namespace KestrelCore;
using KestrelCore::testing::aRecord;
using KestrelCore::testing::aSnapshot;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

/// In a folder of its own, in which pages without another place come.
class ReportCommand : public HistoryCommandTest {
protected:
    ReportCommand() { fs::current_path(folder_.path()); }
    ~ReportCommand() override { fs::current_path(before_); }

    std::int64_t keep(std::int64_t bytes = 100, GenerationProvenance provenance = {}) {
        return SnapshotHistory{URL::fromPath(data_ / "kestrel/history.sqlite")}
            .add(aSnapshot("/r",
                           {aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = bytes}),
                            aRecord({.path = "/r/a", .allocated = bytes})}),
                 provenance)
            .number;
    }
    static CommandRun run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "report");
        return runCommands(std::move(arguments), {addReportCommand});
    }
    [[nodiscard]] std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& each : fs::directory_iterator{folder_.path()}) names.push_back(each.path().filename());
        std::ranges::sort(names);
        return names;
    }
    static std::string content(const std::string& path) {
        std::ifstream in{path, std::ios::binary};
        return {std::istreambuf_iterator<char>{in}, {}};
    }
    static bool isPage(const std::string& text) {
        return text.starts_with(reportTemplate().before) && text.ends_with(reportTemplate().after);
    }

    const fs::path before_ = fs::current_path();
};

}  // namespace

TEST_F(ReportCommand, writesAPageNamedAfterWhatIsInIt) {
    keep();
    const CommandRun made = run({});
    EXPECT_EQ(made.code, ExitCode::done) << made.messages;
    EXPECT_THAT(made.out, HasSubstr("Written: kestrel-report-r-2001-01-01.html\n"));
    EXPECT_THAT(made.out, HasSubstr("kB: 2 items. Any browser opens it.\n"));
    EXPECT_EQ(made.messages, "");
    EXPECT_THAT(files(), ElementsAre("kestrel-report-r-2001-01-01.html"));
    EXPECT_TRUE(isPage(content(folder_ / "kestrel-report-r-2001-01-01.html")));
}

TEST_F(ReportCommand, takesAnotherNameWhereTheFirstIsTaken) {
    keep();
    EXPECT_EQ(run({}).code, ExitCode::done);
    EXPECT_THAT(run({}).out, HasSubstr("kestrel-report-r-2001-01-01-2.html"));
}

TEST_F(ReportCommand, replacesAFileOnlyWhenTold) {
    keep();
    const std::string file = folder_.makeFile("x.html", "mine");
    const CommandRun refused = run({"-o", file});
    EXPECT_EQ(refused.code, ExitCode::failed);
    EXPECT_THAT(refused.messages, HasSubstr(file + " is there already; --force replaces it."));
    EXPECT_EQ(content(file), "mine");
    EXPECT_EQ(run({"-o", file, "--force"}).code, ExitCode::done);
    EXPECT_TRUE(isPage(content(file)));
    EXPECT_THAT(files(), ElementsAre("x.html"));
}

TEST_F(ReportCommand, leavesNothingWhereItCouldNotBeWritten) {
    keep();
    EXPECT_THAT(messagesOf(run({"-o", folder_ / "missing/x.html"}), ExitCode::failed),
                HasSubstr("missing/x.html could not be written: No such file or directory"));
    EXPECT_THAT(messagesOf(run({"-o", folder_.path()}), ExitCode::failed), HasSubstr("Is a directory"));
    EXPECT_THAT(messagesOf(run({"-o", "/dev/full"}), ExitCode::failed), HasSubstr("No space left on device"));
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ReportCommand, givesThePageToAPipe) {
    keep();
    const CommandRun made = run({"-o", "-"});
    EXPECT_EQ(made.code, ExitCode::done);
    EXPECT_EQ(made.messages, "");
    EXPECT_TRUE(isPage(made.out));
    EXPECT_EQ(run({"-o", "-", "--json"}).code, ExitCode::wrongUsage);
    EXPECT_THAT(files(), IsEmpty());
}

TEST_F(ReportCommand, tellsProgramsWhatItWrote) {
    keep();
    const CommandRun made = run({"--json", "-o", "x.html", "/r"});
    EXPECT_EQ(made.messages, "");
    EXPECT_THAT(made.out, HasSubstr(R"("path": "/r", "written": "x.html", "nodes": 2, "items": 2})"));
}

TEST_F(ReportCommand, comparesWithAnEarlierScanOnly) {
    keep(100);
    keep(300);
    EXPECT_EQ(run({"--since", "1", "-o", "x.html"}).code, ExitCode::done);
    EXPECT_THAT(messagesOf(run({"--since", "2", "-o", "y.html"}), ExitCode::failed),
                HasSubstr("--since 2 means no scan before number 2"));
    EXPECT_EQ(run({"--since", "soon"}).code, ExitCode::wrongUsage);
    EXPECT_THAT(files(), ElementsAre("x.html"));
}

TEST_F(ReportCommand, takesAnImportForAnEarlierScanOnlyByItsName) {
    keep(100);
    GenerationProvenance imported;
    imported.origin = GenerationOrigin::import;
    imported.source.name = "server";
    keep(200, imported);
    keep(300);
    EXPECT_THAT(run({"--since", "1d", "--json", "-o", "x.html"}).out, HasSubstr(R"("since": {"number": 1,)"));
    EXPECT_THAT(run({"--since", "server", "--json", "-o", "y.html"}).out, HasSubstr(R"("since": {"number": 2,)"));
}

TEST_F(ReportCommand, warnsOfAnIncompleteScan) {
    GenerationProvenance stopped;
    stopped.isComplete = false;
    keep(100, stopped);
    const CommandRun made = run({"-o", "x.html"});
    EXPECT_EQ(made.code, ExitCode::done);
    EXPECT_THAT(made.messages, HasSubstr("was stopped before its end"));
}

}  // namespace KestrelCLI
