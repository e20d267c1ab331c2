#include "commands/Commands.hpp"
#include "store/AgeValue.hpp"
#include "store/SizeValue.hpp"

#include "support/HistoryCommandTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <simdjson.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

using namespace KestrelCore;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace KestrelCLI {

TEST(SizeValue, isReadInTheUnitsThatPeopleWrite) {
    struct Case {
        const char* text;
        std::optional<std::int64_t> bytes;
    };
    for (const Case& each : std::initializer_list<Case>{{"0", 0},
                                                        {"1234", 1234},
                                                        {"10b", 10},
                                                        {"500MB", 500'000'000},
                                                        {"1.5 GB", 1'500'000'000},
                                                        {"2GiB", 2'147'483'648},
                                                        {"2gib", 2'147'483'648},
                                                        {"10k", 10'000},
                                                        {"1Ki", 1024},
                                                        {"9EB", 9'000'000'000'000'000'000},
                                                        {"10EB", std::nullopt},
                                                        {"-1", std::nullopt},
                                                        {"", std::nullopt},
                                                        {"big", std::nullopt},
                                                        {"1 qb", std::nullopt},
                                                        {"1e3", std::nullopt},
                                                        {"nan", std::nullopt},
                                                        {"inf", std::nullopt}}) {
        EXPECT_EQ(parseSize(each.text), each.bytes) << each.text;
    }
}

TEST(AgeValue, hasABeginAndAnEnd) {
    const Date now = Date::since1970(1'700'000'000);
    const auto span = [&](const char* text) { return parseTimeSpan(text, now).value(); };
    EXPECT_EQ(span("1d").begin, now.addingSeconds(-86'400));
    EXPECT_EQ(span("1d").end, span("1d").begin);
    EXPECT_EQ(span("2mo").begin, now.addingSeconds(-60.0 * 86'400));
    EXPECT_EQ(span("1y").begin, now.addingSeconds(-365.0 * 86'400));
    const double day = span("2023-05-31").end.secondsSince1970() - span("2023-05-31").begin.secondsSince1970();
    EXPECT_NEAR(day, 86'400, 0.01);
    EXPECT_EQ(span("2023-05").begin, span("2023-05-01").begin);
    EXPECT_NEAR(span("2023-12").end.secondsSince1970(), span("2024-01-01").begin.secondsSince1970(), 0.01);
    EXPECT_EQ(span("2023").begin, span("2023-01-01").begin);
    EXPECT_NEAR(span("2023").end.secondsSince1970(), span("2024-01-01").begin.secondsSince1970(), 0.01);
    EXPECT_EQ(span("2 years").begin, span("2y").begin);
    EXPECT_EQ(span("1month").begin, span("1mo").begin);
    EXPECT_EQ(span("today").end, now);
    EXPECT_NEAR(span("today").begin.secondsSince1970(), span("yesterday").end.secondsSince1970(), 0.01);
    for (const char* wrong : {"", "12", "soon", "2023-13", "2023-02-30", "1", "99999", "mo"})
        EXPECT_FALSE(parseTimeSpan(wrong, now).has_value()) << wrong;
}

namespace {

/// A scan of a folder with two videos, an old one among them, a document, and a folder of photos.
class SearchOptionsTest : public HistoryCommandTest {
protected:
    SearchOptionsTest() {
        make("films/old.mkv", 3'000'000);
        make("films/new.mp4", 2'000'000);
        make("letter.pdf", 10'000);
        make("photos/one.jpg", 50'000);
        make("photos/thumbnails/one.jpg", 1'000);
        std::filesystem::last_write_time(folder_ / "films/old.mkv",
                                         std::filesystem::file_time_type::clock::now() - std::chrono::hours{24 * 800});
        EXPECT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    }
    void make(const std::string& name, std::size_t bytes) { (void)folder_.makeFile(name, std::string(bytes, 'x')); }
    static CommandRun run(std::vector<std::string> arguments) {
        return runCommands(std::move(arguments), {addScanCommand, addSearchCommand});
    }
    static CommandRun search(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "search");
        return run(std::move(arguments));
    }
    static std::string count(std::vector<std::string> arguments) {
        arguments.emplace_back("--count");
        return search(std::move(arguments)).out;
    }
};

}  // namespace

TEST_F(SearchOptionsTest, filterBesideTheWordsAndWithoutAny) {
    EXPECT_EQ(count({"--type", "video"}), "2\n");
    EXPECT_EQ(count({"--type", "video,photo"}), "4\n");
    EXPECT_EQ(count({"--type", "Film", "--older-than", "1y"}), "1\n");
    EXPECT_EQ(count({"--newer-than", "1y", "--type", "files"}), "4\n");
    EXPECT_EQ(count({"--min", "1MB", "--max", "2.5MB", "--type", "files"}), "1\n");
    EXPECT_EQ(count({"--ext", "PDF,.mkv"}), "2\n");
    EXPECT_EQ(count({"one", "--not", "thumbnails"}), "1\n");
    EXPECT_EQ(count({"--type", "folder", "--in", folder_ / "photos"}), "1\n");
    EXPECT_EQ(count({"--type", "photo", "--not", folder_ / "photos/thumbnails"}), "1\n");
    EXPECT_EQ(count({"--in", "films"}), "3\n");
    EXPECT_EQ(count({"nowhere"}), "0\n");
}

TEST_F(SearchOptionsTest, severalPlacesWidenEachOtherWhateverTheyAre) {
    EXPECT_EQ(count({"--in", "films", "--in", "letter"}), "4\n");
    EXPECT_EQ(count({"--in", folder_ / "films", "--in", "letter"}), "3\n");
    EXPECT_EQ(count({"--in", folder_ / "films", "--in", "letter", "--ext", "pdf"}), "1\n");
}

TEST_F(SearchOptionsTest, aYearIsBeforeItBeganAndAfterItEnded) {
    const auto at = [&](const char* name, const char* day) {
        const auto date = parseTimeSpan(day, Date::now());
        ASSERT_TRUE(date.has_value());
        std::filesystem::last_write_time(
            folder_ / name, std::chrono::file_clock::from_sys(std::chrono::sys_time<std::chrono::seconds>{
                                std::chrono::seconds{static_cast<std::int64_t>(date->begin.secondsSince1970())}}));
    };
    at("films/old.mkv", "2021-12-31");
    at("films/new.mp4", "2022-07-01");
    at("letter.pdf", "2023-01-01");
    EXPECT_EQ(run({"scan", folder_.path()}).code, ExitCode::done);
    EXPECT_EQ(count({"--type", "files", "--older-than", "2022"}), "1\n");
    EXPECT_EQ(count({"--type", "files", "--older-than", "2023"}), "2\n");
    EXPECT_EQ(count({"--type", "files", "--newer-than", "2022", "--older-than", "2024"}), "1\n");
    EXPECT_EQ(count({"--type", "files", "--newer-than", "2021", "--older-than", "2023"}), "1\n");
}

TEST_F(SearchOptionsTest, sortBeforeTheLimit) {
    const std::string out = search({"--type", "files", "--sort", "size", "--limit", "2"}).out;
    EXPECT_LT(out.find("old.mkv"), out.find("new.mp4")) << out;
    EXPECT_THAT(out, AllOf(HasSubstr("2 of 5 items, 5.0"), HasSubstr("MB altogether (see --limit)\n"),
                           Not(HasSubstr("letter.pdf"))));
    EXPECT_THAT(search({"--type", "files", "--sort", "name", "--limit", "1"}).out, HasSubstr("letter.pdf"));
    EXPECT_THAT(search({"--ext", "pdf"}).out, HasSubstr("\n1 item, "));
}

TEST_F(SearchOptionsTest, areInTheJSONObject) {
    const CommandRun result =
        search({"--json", "--type", "photo,folder", "--min", "1kB", "--in", "photos", "--limit", "1"});
    simdjson::dom::parser parser;
    simdjson::dom::element json;
    ASSERT_EQ(parser.parse(result.out).get(json), simdjson::SUCCESS) << result.out;
    EXPECT_EQ(std::int64_t{json["matches"]}, 4);
    EXPECT_GT(std::int64_t{json["matchedBytes"]}, 51'000);
    EXPECT_EQ(simdjson::dom::array{json["results"]}.size(), 1U);
    EXPECT_EQ(std::int64_t{json["filter"]["minimumBytes"]}, 1000);
    EXPECT_EQ(std::string_view{json["filter"]["types"].at(0)}, "photos");
    EXPECT_EQ(std::string_view{json["filter"]["wordsInPath"].at(0)}, "photos");
    const CommandRun counted = search({"--json", "--count", "one"});
    EXPECT_THAT(counted.out, AllOf(HasSubstr("\"matches\": 2"), Not(HasSubstr("results")), Not(HasSubstr("filter"))));
}

TEST_F(SearchOptionsTest, thatMeanNothingAreWrongUsage) {
    for (const auto& [option, value, said] : std::vector<std::array<std::string, 3>>{
             {"--type", "nonsense", "is no type; photos, videos"},
             {"--type", "nonsense", "disk-images, databases, other, files, folders and links are."},
             {"--type", "vidoe", "Did you mean “videos”?"},
             {"--type", "phto", "Did you mean “photos”?"},
             {"--type", "pdf", "--ext pdf finds files by their extension."},
             {"--min", "huge", "is no size"},
             {"--older-than", "12", "is no age and no date"},
             {"--sort", "colour", "is none of date, name, score, size"}}) {
        const CommandRun result = search({"x", option, value});
        EXPECT_EQ(result.code, ExitCode::wrongUsage) << option;
        EXPECT_THAT(result.messages, HasSubstr(said));
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(search({}).code, ExitCode::wrongUsage);
    EXPECT_THAT(search({""}).messages, HasSubstr("search needs words, or options"));
    EXPECT_EQ(search({" "}).code, ExitCode::wrongUsage);
    EXPECT_EQ(search({"", "--type", "files"}).code, ExitCode::done);
}

TEST_F(SearchOptionsTest, sayWhichWordFindsNothing) {
    const CommandRun one = search({"letter", "nowhere"});
    EXPECT_EQ(one.code, ExitCode::done);
    EXPECT_THAT(one.messages, HasSubstr("answers that search. Alone, “nowhere” finds nothing.\n"));
    EXPECT_THAT(search({"letter", "--min", "1TB", "--type", "music"}).messages,
                HasSubstr("Alone, “--min 1TB” and “--type music” find nothing."));
    EXPECT_THAT(search({"letter", "--type", "video"}).messages, HasSubstr("no item answers all of them."));
    EXPECT_THAT(search({"nowhere"}).messages,
                AllOf(HasSubstr("Nothing in the scan of " + folder_.path() + " from "),
                      HasSubstr(" answers that search. No path in it has “nowhere”, or nearly so.\n")));
    EXPECT_THAT(search({">5tb"}).messages, HasSubstr("No item in it passes “>5tb”."));
    EXPECT_THAT(search({"--type", "link"}).messages, HasSubstr("No item in it passes “--type link”."));
    EXPECT_THAT(search({"letter", "--in", "/usr/nowhere"}).messages, HasSubstr("/usr/nowhere lies outside of it.\n"));
    EXPECT_THAT(search({"--in", folder_ / "none"}).messages, HasSubstr(folder_ / "none" + " is not in it.\n"));
}

TEST_F(SearchOptionsTest, doubtfulWordsAreHintsForPeopleAndErrorsForScripts) {
    const CommandRun shown = search({"modified:2023"});
    EXPECT_EQ(shown.code, ExitCode::done);
    EXPECT_THAT(shown.messages, HasSubstr("--newer-than 2022 --older-than 2024"));
    for (const char* option : {"--json", "--print0", "--count"}) {
        const CommandRun result = search({"vidoes", option});
        EXPECT_EQ(result.code, ExitCode::wrongUsage) << option;
        EXPECT_THAT(result.messages,
                    AllOf(HasSubstr("did you mean videos?"), HasSubstr("--literal"), Not(HasSubstr("so it is"))));
        EXPECT_EQ(search({"vidoes", option, "--literal"}).code, ExitCode::done) << option;
    }
}

TEST_F(SearchOptionsTest, anUnknownKindNeverListsEverything) {
    for (const std::vector<std::string>& options : std::vector<std::vector<std::string>>{{}, {"--literal"}}) {
        std::vector<std::string> arguments{"type:film"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const CommandRun result = search(arguments);
        EXPECT_EQ(result.code, ExitCode::wrongUsage);
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.messages, HasSubstr("did you mean --type videos?"));
    }
}

}  // namespace KestrelCLI
