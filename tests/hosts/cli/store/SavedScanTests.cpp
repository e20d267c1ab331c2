#include "store/SavedScan.hpp"

#include "commands/Commands.hpp"
#include "store/ScanSaving.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "support/CommandRun.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/StoreFiles.hpp"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>

using namespace KestrelCore;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

namespace {

struct Item {
    std::string path;
    FileKind kind = FileKind::file;
    std::int64_t bytes = 0;
    std::string extension;
};

ScanSnapshot aSnapshot(const std::vector<Item>& items) {
    std::vector<FileRecord> records;
    for (const Item& item : items) {
        const Text path{item.path};
        const bool isRoot = item.path == "/r";
        records.emplace_back(UUID::random(), std::nullopt,
                             isRoot ? std::nullopt : std::optional{Path::deletingLastComponent(path)}, path,
                             Path::lastComponent(path), item.kind, item.bytes, item.bytes, item.bytes, Date{1000},
                             Text{item.extension}, false, false, false, RiskLevel::normal);
    }
    return {
        UUID::random(), ScanScope{URL::fromPath("/r", true)}, Date{}, Date::now().addingSeconds(-7200), records, {}};
}

ScanSnapshot usualSnapshot() {
    return aSnapshot({{"/r", FileKind::directory, 600, ""},
                      {"/r/small.txt", FileKind::file, 100, "txt"},
                      {"/r/pictures", FileKind::directory, 500, ""},
                      {"/r/pictures/a.jpg", FileKind::file, 300, "jpg"},
                      {"/r/pictures/b.mp4", FileKind::file, 200, "mp4"}});
}

/// Takes what is written, and is interrupted when it is first shown.
class InterruptedOutput final : public std::stringbuf {
protected:
    int sync() override {
        Interruption::set(true);
        return 0;
    }
};

class SavedScanCommands : public testing::Test {
protected:
    void save(const ScanSnapshot& snapshot) { SQLiteSnapshotStore{files_.url()}.replace(snapshot); }
    CommandRun run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--store", files_.path()});
        return runCommands(std::move(arguments), {addScanCommand, addListCommand, addSearchCommand, addMediaCommand,
                                                  addDocumentsCommand, addClearCommand});
    }
    /// The one line that a failed run says.
    std::string failure(std::vector<std::string> arguments) {
        const CommandRun result = run(std::move(arguments));
        EXPECT_EQ(result.code, ExitCode::failed);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(std::count(result.messages.begin(), result.messages.end(), '\n'), 1);
        return result.messages;
    }

    void TearDown() override { Interruption::set(false); }

    StoreFiles files_;
};

TEST_F(SavedScanCommands, listShowsAFolderLargestFirstAndHowOldTheScanIs) {
    save(usualSnapshot());
    const CommandRun result = run({"list"});
    EXPECT_EQ(result.code, ExitCode::done);
    EXPECT_THAT(result.out, HasSubstr("/r, scanned 2 hours ago"));
    EXPECT_LT(result.out.find("pictures/"), result.out.find("small.txt"));
    EXPECT_THAT(result.out, Not(HasSubstr("a.jpg")));
    EXPECT_THAT(run({"list", "/r/pictures"}).out, HasSubstr("a.jpg"));
}

TEST_F(SavedScanCommands, listLeavesOutWhatIsBeyondTheLimitAndSaysSo) {
    save(usualSnapshot());
    const CommandRun result = run({"list", "--limit", "1"});
    EXPECT_THAT(result.out, HasSubstr("pictures/"));
    EXPECT_THAT(result.out, HasSubstr("1 more item"));
    EXPECT_THAT(result.out, Not(HasSubstr("small.txt")));
}

TEST_F(SavedScanCommands, listSortsBeforeTheLimit) {
    save(usualSnapshot());
    EXPECT_THAT(run({"list", "/r/pictures", "--sort", "name", "--limit", "1"}).out, HasSubstr("a.jpg"));
    EXPECT_THAT(run({"list", "--sort", "Name", "--print0"}).out, testing::StartsWith("/r/pictures"));
    const std::string byName = run({"list", "--sort", "name"}).out;
    EXPECT_LT(byName.find("pictures"), byName.find("small.txt"));
    std::vector<FileRecord> records;
    const auto add = [&](const std::string& name, FileKind kind, std::int64_t bytes, std::optional<Date> date) {
        const bool isRoot = kind == FileKind::directory;
        records.emplace_back(UUID::random(), std::nullopt, isRoot ? std::nullopt : std::optional<Text>{"/r"},
                             isRoot ? Text{"/r"} : Text{"/r/" + name}, Text{name}, kind, bytes, bytes, bytes, date,
                             Text{}, false, false, false, RiskLevel::normal);
    };
    add("r", FileKind::directory, 6, Date{1});
    add("new", FileKind::file, 1, Date{3000});
    add("dateless", FileKind::file, 3, std::nullopt);
    add("old", FileKind::file, 2, Date{2000});
    save({UUID::random(), ScanScope{URL::fromPath("/r", true)}, Date{}, Date::now(), records, {}});
    EXPECT_EQ(run({"list", "--sort", "date", "--print0"}).out, std::string("/r/new\0/r/old\0/r/dateless\0", 26));
    EXPECT_EQ(run({"list", "--print0"}).out, std::string("/r/dateless\0/r/old\0/r/new\0", 26));
}

TEST_F(SavedScanCommands, listPrintsTheRecordsOfTheFolderAsJSON) {
    save(usualSnapshot());
    const CommandRun result = run({"list", "--json", "/r/pictures/"});
    EXPECT_THAT(result.out, testing::StartsWith("{\"schema\": 1, \"snapshot\": {\"id\": \""));
    EXPECT_THAT(result.out, HasSubstr("\"path\": \"/r/pictures\", \"children\": [{\"path\": \"/r/pictures/a.jpg\""));
    EXPECT_EQ(result.messages, "");
}

TEST_F(SavedScanCommands, mediaCountsAndListsPhotosAndVideos) {
    save(usualSnapshot());
    const CommandRun all = run({"media", "--json"});
    EXPECT_THAT(all.out, HasSubstr("\"imageBytes\": 300, \"videoBytes\": 200, \"totalBytes\": 500"));
    const CommandRun videos = run({"media", "--json", "--kind", "video"});
    EXPECT_THAT(videos.out, HasSubstr("\"images\": [], \"videos\": [{\"path\": \"/r/pictures/b.mp4\""));
    EXPECT_THAT(run({"media"}).out, HasSubstr("  /r/pictures/a.jpg\n"));
    EXPECT_EQ(run({"media", "--json", "--kind", "Film"}).out, videos.out);
    EXPECT_THAT(run({"media", "--kind", "photo"}).out, testing::AllOf(HasSubstr("a.jpg"), Not(HasSubstr("b.mp4"))));
    EXPECT_EQ(run({"media", "--kind", "sound"}).code, ExitCode::wrongUsage);
}

TEST_F(SavedScanCommands, documentsListsEachWithItsKind) {
    save(usualSnapshot());
    const CommandRun result = run({"documents", "--json"});
    EXPECT_THAT(result.out, HasSubstr("\"path\": \"/r/small.txt\""));
    EXPECT_THAT(result.out, HasSubstr("\"documentKind\": \"text\"}], \"totalBytes\": 100"));
    EXPECT_THAT(run({"documents", "--json", "--kind", "pdf"}).out, HasSubstr("\"documents\": [], \"totalBytes\": 0"));
    EXPECT_THAT(run({"documents"}).out, HasSubstr("  /r/small.txt\n"));
    EXPECT_THAT(run({"documents", "--kind", "texts"}).out, HasSubstr("small.txt"));
}

TEST_F(SavedScanCommands, sayWhenNothingIsSavedYetAndCreateNothing) {
    for (const char* command : {"list", "media", "documents"}) {
        EXPECT_THAT(failure({command}), HasSubstr("There is no saved scan yet"));
    }
    EXPECT_TRUE(std::filesystem::is_empty(files_.folder()));
    { SQLiteSnapshotStore store{files_.url()}; }
    EXPECT_THAT(failure({"list"}), HasSubstr("There is no saved scan yet"));
}

TEST_F(SavedScanCommands, leaveAnEmptyFileEmpty) {
    files_.setBytes("");
    for (const char* command : {"list", "media", "documents"}) {
        EXPECT_THAT(failure({command}), HasSubstr("There is no saved scan yet")) << command;
    }
    EXPECT_THAT(failure({"search", "x"}), HasSubstr("There is no saved scan yet"));
    EXPECT_EQ(run({"clear"}).code, ExitCode::done);
    EXPECT_TRUE(files_.bytes().empty());
    const std::filesystem::directory_iterator items{files_.folder()};
    EXPECT_EQ(std::distance(begin(items), end(items)), 1) << "something was made beside it";
}

TEST_F(SavedScanCommands, endWithoutAResultWhenTheyAreInterrupted) {
    save(usualSnapshot());
    const std::vector<std::vector<std::string>> commands{
        {"list"}, {"search", "a"}, {"media"}, {"documents"}, {"clear"}};
    Interruption::set(true);
    for (const auto& arguments : commands) {
        const CommandRun result = run(arguments);
        EXPECT_EQ(result.code, ExitCode::interrupted) << arguments.front();
        EXPECT_EQ(result.out, "") << arguments.front();
    }
    const CommandRun json = run({"list", "--json"});
    EXPECT_EQ(json.code, ExitCode::interrupted);
    EXPECT_THAT(json.out, HasSubstr("\"code\": \"interrupted\""));
    EXPECT_TRUE(SQLiteSnapshotStore{files_.url()}.loadLatest().has_value()) << "clear went on";
}

TEST_F(SavedScanCommands, callNoStoreEmptyThatCannotBeLookedAt) {
    std::filesystem::create_symlink(files_.path(), files_.path());
    for (const char* command : {"clear", "list"}) {
        const CommandRun result = run({command});
        EXPECT_EQ(result.code, ExitCode::failed) << command;
        EXPECT_NE(result.messages.find("Kestrel could not open its private scan index."), std::string::npos)
            << result.messages;
    }
}

TEST_F(SavedScanCommands, takeOnlyWholeNumbersAsALimit) {
    save(usualSnapshot());
    const std::vector<std::vector<std::string>> commands{{"list"}, {"search", "a"}, {"media"}, {"documents"}};
    for (std::vector<std::string> arguments : commands) {
        arguments.insert(arguments.end(), {"--limit", ""});
        for (const char* wrong : {"-1", "1.5", "many", "+1", "0x1"}) {
            arguments.back() = wrong;
            const CommandRun result = run(arguments);
            EXPECT_EQ(result.code, ExitCode::wrongUsage) << arguments.front() << wrong;
            EXPECT_THAT(result.messages, HasSubstr("is not a whole number, 0 or more")) << arguments.front();
        }
        arguments.back() = "99999999999999999999";
        EXPECT_EQ(run(arguments).code, ExitCode::wrongUsage) << arguments.front();
        for (const char* right : {"0", "9223372036854775807"}) {
            arguments.back() = right;
            EXPECT_EQ(run(arguments).code, ExitCode::done) << arguments.front() << right;
        }
    }
}

TEST_F(SavedScanCommands, readALimitAsDecimalAlsoWithLeadingZeros) {
    std::vector<Item> items{{"/r", FileKind::directory, 100, ""}};
    for (int i = 0; i < 12; ++i) items.push_back({fmt::format("/r/{}", i), FileKind::file, 1, ""});
    save(aSnapshot(items));
    EXPECT_THAT(run({"list", "--limit", "010"}).out, HasSubstr("2 more items"));
}

TEST_F(SavedScanCommands, searchSaysNothingOfWhatItWasNotToShow) {
    save(usualSnapshot());
    EXPECT_EQ(run({"search", "small", "--limit", "0"}).messages, "");
    EXPECT_EQ(run({"search", "small", "--limit", "1"}).messages, "");
    EXPECT_THAT(run({"search", "nowhere", "--limit", "1"}).messages, HasSubstr("Nothing in the scan of /r from "));
}

TEST_F(SavedScanCommands, librariesPrintWhatTheyPromiseAsJSON) {
    save(usualSnapshot());
    EXPECT_THAT(run({"media", "--json"}).out, HasSubstr("\"isComplete\": true}, \"images\": ["));
    EXPECT_THAT(run({"documents", "--json"}).out, HasSubstr("\"isComplete\": true}, \"documents\": ["));
    EXPECT_THAT(run({"media", "--json"}).out, testing::StartsWith("{\"schema\": 1, \"snapshot\": {\"id\": "));
    EXPECT_THAT(run({"documents", "--json"}).out, testing::StartsWith("{\"schema\": 1, \"snapshot\": {\"id\": "));
}

TEST_F(SavedScanCommands, takeNoPlaceWhoseNameIsNotUTF8) {
    const std::string odd = files_.folder() + "/d\xFF";
    const std::vector<std::vector<std::string>> commands{{"list"},      {"search", "a"}, {"media"},
                                                         {"documents"}, {"scan", "/r"},  {"clear"}};
    for (std::vector<std::string> arguments : commands) {
        const EnvironmentSetting dataHome{"XDG_DATA_HOME", odd.c_str()};
        const std::vector<CommandAdder> adders{addScanCommand,  addListCommand,      addSearchCommand,
                                               addMediaCommand, addDocumentsCommand, addClearCommand};
        const CommandRun byDefault = runCommands(arguments, adders);
        EXPECT_EQ(byDefault.code, ExitCode::failed) << arguments.front();
        EXPECT_THAT(byDefault.messages, HasSubstr("The name of the data folder is not UTF-8")) << arguments.front();
        arguments.insert(arguments.end(), {"--store", odd});
        const CommandRun byName = runCommands(arguments, adders);
        EXPECT_EQ(byName.code, ExitCode::wrongUsage) << arguments.front();
        EXPECT_THAT(byName.messages, HasSubstr("is not UTF-8")) << arguments.front();
    }
    EXPECT_TRUE(std::filesystem::is_empty(files_.folder()));
}

TEST_F(SavedScanCommands, listTellsAPathOutsideTheScanFromOneThatIsMissingInIt) {
    save(usualSnapshot());
    EXPECT_THAT(failure({"list", "/elsewhere"}), HasSubstr("/elsewhere lies outside the saved scan, which is of /r."));
    EXPECT_THAT(failure({"list", "/r/missing"}), HasSubstr("/r/missing is not in the saved scan."));
    EXPECT_THAT(failure({"list", "/r/small.txt"}), HasSubstr("/r/small.txt is not a folder."));
}

TEST_F(SavedScanCommands, sayWhatIsWrongWithTheStoreAndLeaveItAsItIs) {
    files_.query("CREATE TABLE snapshots (id TEXT, completed_at REAL);");
    EXPECT_THAT(failure({"list"}), HasSubstr("no such column: payload"));
    files_.query("DROP TABLE snapshots; CREATE TABLE snapshots (id TEXT PRIMARY KEY, completed_at REAL, payload BLOB);"
                 "INSERT INTO snapshots VALUES ('a', 1, '{\"id\":1}');");
    EXPECT_THAT(failure({"media"}), HasSubstr("can't be used: The data couldn’t be read because"));
    EXPECT_EQ(files_.query("SELECT id FROM snapshots;"), "a");
}

TEST_F(SavedScanCommands, sayThatAFileIsNoDatabase) {
    files_.setBytes(std::string(3'000, 'x'));
    EXPECT_THAT(failure({"documents"}), HasSubstr("file is not a database"));
    EXPECT_THAT(failure({"clear"}), HasSubstr("file is not a database"));
    EXPECT_EQ(files_.bytes(), std::string(3'000, 'x'));
}

TEST_F(SavedScanCommands, refuseASnapshotThatContradictsItself) {
    const Item twice{"/r/x", FileKind::file, 1, ""};
    save(aSnapshot({{"/r", FileKind::directory, 2, ""}, twice, twice}));
    EXPECT_THAT(failure({"list"}), HasSubstr("contradicts itself"));
    save(aSnapshot({{"/r", FileKind::directory, -5, ""}}));
    EXPECT_THAT(failure({"media"}), HasSubstr("contradicts itself"));
}

TEST_F(SavedScanCommands, clearEmptiesTheStore) {
    save(sampleSnapshot(10'000, 1));
    const auto before = std::filesystem::file_size(files_.path());
    const CommandRun result = run({"clear", "--json"});
    const auto after = std::filesystem::file_size(files_.path());
    EXPECT_GT(before, 2'000'000U);
    EXPECT_LT(after, 500'000U);
    EXPECT_EQ(result.out, fmt::format("{{\"schema\": 1, \"cleared\": true, \"freedBytes\": {}}}\n", before - after));
    EXPECT_EQ(run({"clear", "--json"}).out, "{\"schema\": 1, \"cleared\": true, \"freedBytes\": 0}\n");
    EXPECT_EQ(SQLiteSnapshotStore{files_.url()}.loadLatest(), std::nullopt);
    EXPECT_EQ(run({"clear"}).code, ExitCode::done);
}

TEST_F(SavedScanCommands, clearLeavesTheRestOfAForeignDatabaseAsItIs) {
    save(usualSnapshot());
    // Rows without numbers of their own get others when a database is written anew.
    files_.query("CREATE TABLE theirs (x); INSERT INTO theirs VALUES (1), (2), (3); DELETE FROM theirs WHERE x < 3;");
    EXPECT_EQ(run({"clear"}).code, ExitCode::done);
    EXPECT_EQ(files_.query("SELECT rowid FROM theirs;"), "3");
}

TEST_F(SavedScanCommands, clearCreatesNoStore) {
    EXPECT_EQ(run({"clear"}).code, ExitCode::done);
    EXPECT_TRUE(std::filesystem::is_empty(files_.folder()));
}

TEST_F(SavedScanCommands, scanSavesAndTellsTheChangeSinceTheLastScanOfTheSameFolder) {
    TemporaryFolder folder;
    std::ofstream{folder.path() + "/a.bin"} << std::string(100'000, 'x');
    const CommandRun first = run({"scan", folder.path()});
    EXPECT_EQ(first.code, ExitCode::done) << first.messages;
    EXPECT_THAT(first.out, Not(HasSubstr("ago")));
    EXPECT_THAT(run({"scan", folder.path()}).out, HasSubstr("as much as a moment ago"));
    std::filesystem::remove(folder.path() + "/a.bin");
    EXPECT_THAT(run({"scan", folder.path()}).out, HasSubstr("less than a moment ago"));
    EXPECT_THAT(run({"list"}).out, HasSubstr(folder.path() + ", scanned just now"));
}

TEST_F(SavedScanCommands, scanComparesWithNothingThatContradictsItself) {
    TemporaryFolder folder;
    const std::string root = std::filesystem::canonical(folder.path()).string();
    const auto record = [&](std::int64_t bytes) {
        return FileRecord{{.id = UUID::random(),
                           .path = root,
                           .name = Path::lastComponent(root),
                           .kind = FileKind::directory,
                           .logicalBytes = bytes,
                           .allocatedBytes = bytes,
                           .aggregateAllocatedBytes = bytes}};
    };
    const Date anHourAgo = Date::now().addingSeconds(-3600);
    for (const std::vector<FileRecord>& odd :
         {std::vector{record(std::int64_t{1} << 62), record(1)}, std::vector{record(-5)}}) {
        save(ScanSnapshot{UUID::random(), ScanScope{URL::fromPath(root, true)}, anHourAgo, anHourAgo, odd, {}});
        EXPECT_THAT(run({"scan", root}).out, Not(HasSubstr("ago")));
    }
    save(ScanSnapshot{UUID::random(), ScanScope{URL::fromPath(root, true)}, anHourAgo, anHourAgo, {record(7)}, {}});
    EXPECT_THAT(run({"scan", root}).out, HasSubstr("1 hour ago"));
}

TEST_F(SavedScanCommands, scanSavesNothingAfterItWasInterrupted) {
    TemporaryFolder folder;
    InterruptedOutput output;
    std::ostream out{&output};
    std::ostringstream messages;
    Session session{.out = out, .messages = messages, .terminal = {}, .options = {}};
    EXPECT_EQ(runCommandLine({"--store", files_.path(), "scan", folder.path()}, session, {addScanCommand}),
              ExitCode::interrupted);
    EXPECT_THAT(output.str(), HasSubstr("100.0 %"));
    EXPECT_TRUE(std::filesystem::is_empty(files_.folder()));
}

TEST_F(SavedScanCommands, scanSavesNothingWhenToldSo) {
    TemporaryFolder folder;
    const CommandRun result = run({"scan", "--no-save", "--json", folder.path()});
    EXPECT_THAT(result.out, HasSubstr("\"saved\": false"));
    EXPECT_TRUE(std::filesystem::is_empty(files_.folder()));
    EXPECT_THAT(run({"scan", "--json", folder.path()}).out, HasSubstr("\"saved\": true"));
}

TEST_F(SavedScanCommands, scanShowsItsResultAndFailsWhenItCannotBeSaved) {
    TemporaryFolder folder;
    files_.setBytes(std::string(3'000, 'x'));
    const CommandRun result = run({"scan", folder.path()});
    EXPECT_EQ(result.code, ExitCode::failed);
    EXPECT_THAT(result.out, HasSubstr("on disk in"));
    EXPECT_THAT(result.messages, HasSubstr("could not be saved"));
    EXPECT_THAT(result.messages, HasSubstr("file is not a database"));
    EXPECT_THAT(run({"scan", "--json", folder.path()}).out, HasSubstr("\"saved\": false"));
    EXPECT_EQ(files_.bytes(), std::string(3'000, 'x'));
}

TEST(WhyNotSaved, explainsWhatASnapshotIsTooLargeFor) {
    EXPECT_EQ(whyNotSaved("/s", "disk I/O error"), "The scan could not be saved in /s: disk I/O error");
    EXPECT_THAT(
        whyNotSaved("/s", "string or blob too big"),
        testing::StartsWith("The scan could not be saved in /s: string or blob too big. A snapshot database spells"));
}

TEST_F(SavedScanCommands, keepTheDefaultFolderPrivate) {
    const EnvironmentSetting dataHome{"XDG_DATA_HOME", files_.folder().c_str()};
    const std::string folder = files_.folder() + "/kestrel";
    const auto mode = [&] { return static_cast<unsigned>(std::filesystem::status(folder).permissions()); };
    std::filesystem::create_directory(folder);
    std::filesystem::permissions(folder, std::filesystem::perms{0775});
    EXPECT_EQ(runCommands({"list"}, {addListCommand}).code, ExitCode::failed);
    EXPECT_EQ(mode(), 0700U);
    // A folder that the user named is the user's business.
    std::filesystem::permissions(folder, std::filesystem::perms{0775});
    EXPECT_EQ(runCommands({"list", "--store", folder + "/s"}, {addListCommand}).code, ExitCode::failed);
    EXPECT_EQ(mode(), 0775U);
}

}  // namespace

}  // namespace KestrelCLI
