#include "store/ConfigurationText.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <random>
#include <string>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace KestrelCLI {

namespace {

Settings read(std::string_view text) {
    Settings settings;
    readConfiguration(text, "/home/a[b]", settings);
    return settings;
}

}  // namespace

TEST(ConfigurationText, isReadWithTheLineOfEachSetting) {
    const Settings settings = read("units = \"iec\"\n"
                                   "color = \"never\"\n"
                                   "folder = \"~/big\"\n"
                                   "\n"
                                   "exclude = [\"node_modules\", \"~/*.iso\", \"x~\"]\n"
                                   "[history]\n"
                                   "keep-all = \"2w\"\n"
                                   "keep-daily = \"6mo\"\n"
                                   "keep-weekly = \"3y\"\n"
                                   "most-size = \"500MiB\"\n"
                                   "[page]\n"
                                   "colors = \"color-blind\"\n");
    EXPECT_THAT(settings.problems, IsEmpty());
    EXPECT_EQ(settings.units.value, SizeUnits::binary);
    EXPECT_EQ(settings.units.source, SettingSource::file);
    EXPECT_EQ(settings.units.line, 1);
    EXPECT_EQ(settings.color.value, ColorChoice::never);
    EXPECT_EQ(settings.folder.value, "/home/a[b]/big");
    // In a pattern the brackets of the home directory's name are to mean themselves.
    EXPECT_THAT(settings.exclude.value, ElementsAre("node_modules", "/home/a\\[b]/*.iso", "x~"));
    EXPECT_EQ(settings.exclude.line, 5);
    EXPECT_EQ(settings.thinning().allWithin.count(), 14);
    EXPECT_EQ(settings.thinning().dailyWithin.count(), 180);
    EXPECT_EQ(settings.thinning().weeklyWithin.count(), 1095);
    EXPECT_EQ(settings.thinning().mostBytes, 524'288'000);
    EXPECT_EQ(settings.pageColors.value, PageColors::colorBlind);
    EXPECT_EQ(settings.pageColors.line, 12);
}

TEST(ConfigurationText, tellsTheLineOfWhatIsWrongAndWhatWasMeant) {
    struct Case {
        std::string text;
        std::int64_t line;
        const char* says;
    };
    for (const Case& each : std::initializer_list<Case>{
             {"\nunit = \"si\"", 2, "There is no setting “unit”. Did you mean “units”?"},
             {"colour = \"auto\"", 1, "Did you mean “color”"},
             {"verbose = true", 1, "There are units, color, folder, exclude, history.keep-all, "},
             {"keep-all = \"7d\"", 1, "“keep-all” stands below [history]."},
             {"[histroy]\nkeep-all = \"7d\"", 1, "Did you mean “history”?"},
             {"[page]\ncolor = \"usual\"", 2, "There is no setting “page.color”. Did you mean “colors”?"},
             {"[page]\nunits = \"si\"", 2, "“units” stands above the first table."},
             {"history = 7", 1, "“history” is the name of a table, which begins with [history]."},
             {"units = \"ice\"", 1, "one of “si”, “iec”, and not “ice”. Did you mean “iec”?"},
             {"units = 1024", 1, "“units” is to be one of “si”, “iec”, in quotes."},
             {"[units]\nsi = true", 1, "“units” is to be one of"},
             {"color = true", 1, "“color” is to be one of “auto”, “always”, “never”, in quotes."},
             {"folder = \"big\"", 1, "“folder” is to be a path that begins with “/” or “~”."},
             {"folder = \"~anna\"", 1, "only “~” and “~/” are known"},
             {"folder = \"/a\\u0000b\"", 1, "“folder” is to be a path"},
             {"exclude = \"*.iso\"", 1, "is to be a list of patterns"},
             {"exclude = [\n\"a\",\n\"!b\"]", 3, "“!b” begins with “!”"},
             {"exclude = [\"a\", 3]", 1, "is to be a list of patterns"},
             {"[history]\nkeep-all = 7", 2, "such as “7d”"},
             {"[history]\nkeep-daily = \"7 days\"", 2, "and not “7 days”."},
             {"[history]\nkeep-weekly = \"-1d\"", 2, "and not “-1d”."},
             {"[history]\nkeep-weekly = \"100000y\"", 2, "and not “100000y”."},
             // Would leave hardly anything of the history, and is a unit that was forgotten.
             {"[history]\nmost-size = \"2\"", 2, "a size of 1 MB at least, such as “2GB” or “500MiB”, and not “2”."},
             {"[page]\ncolors = \"dark\"", 2, "“page.colors” is to be one of “usual”, "},
             {"units = si", 1, "Error while parsing"},
             {"units = \"si\"\n[=]\nunits = 3\n", 2, "A name is missing or broken here."},
             {"[.a]", 1, "A name is missing or broken here."},
             {"units = \"si\"\nunits = \"iec\"", 2, "units"},
             {"units = \"si\"\n# \xff\n", 2, "is to be UTF-8"},
         }) {
        const Settings settings = read(each.text);
        ASSERT_EQ(settings.problems.size(), 1U) << each.text;
        EXPECT_EQ(settings.problems[0].line, each.line) << each.text;
        EXPECT_THAT(settings.problems[0].message, HasSubstr(each.says)) << each.text;
    }
}

TEST(ConfigurationText, holdsInWhatIsUnderstoodAndTellsTheRestInTheOrderOfLines) {
    const Settings settings = read("zzz = 1\nunits = \"iec\"\naaa = 2\nexclude = [\"!x\", \"y\"]\n");
    EXPECT_EQ(settings.units.value, SizeUnits::binary);
    EXPECT_THAT(settings.exclude.value, ElementsAre("y"));
    std::vector<std::int64_t> lines;
    for (const SettingProblem& each : settings.problems) lines.push_back(each.line);
    EXPECT_THAT(lines, ElementsAre(1, 3, 4));
}

TEST(ConfigurationText, doesNotTakeTheHomeDirectoryForWhatItIsNot) {
    Settings settings;
    readConfiguration("folder = \"~\"\nexclude = [\"~/x\"]\n", "", settings);
    ASSERT_EQ(settings.problems.size(), 2U);
    EXPECT_THAT(settings.problems[0].message, HasSubstr("is not known"));
    EXPECT_EQ(settings.folder.source, SettingSource::builtIn);
    EXPECT_THAT(settings.exclude.value, IsEmpty());
}

// Whatever stands in the file, it is read or told: pieces of what may be in one, in any order.
TEST(ConfigurationText, isReadOrToldWhateverItHolds) {
    static const std::vector<std::string> pieces{
        "units", "color",   "folder",     "exclude", "history",  "page",     ".",  "=",   "[",  "]",     "[[",
        "\"",    "\"~/x\"", "\"7d\"",     ",",       "\n",       "keep-all", "{",  "}",   "\\", "'",     "1e9",
        "#",     " ",       "2020-01-01", "true",    "\xc3\xa9", "\xff",     "\0", "nan", "\r", "\"\"\""};
    std::mt19937 random{1};
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (std::size_t count = random() % 24; count > 0; --count) text += pieces[random() % pieces.size()];
        for (const SettingProblem& each : read(text).problems) {
            EXPECT_GE(each.line, 1) << text;
            EXPECT_NE(each.message, "") << text;
        }
    }
}

// So that the example can't say what is not so: each of its settings is read, and changes nothing.
TEST(ConfigurationText, hasAnExampleOfEverySettingAsItIsWithoutAFile) {
    std::string text;
    for (std::string_view rest = exampleConfiguration(); !rest.empty();) {
        std::string_view line = rest.substr(0, rest.find('\n') + 1);
        rest.remove_prefix(line.size());
        EXPECT_LE(line.size(), 89U) << line;
        if (line.size() > 1 && line[0] == '#' && line[1] >= 'a' && line[1] <= 'z') line.remove_prefix(1);
        text += line;
    }
    const Settings read = KestrelCLI::read(text);
    const Settings usual;
    EXPECT_THAT(read.problems, IsEmpty());
    EXPECT_EQ(read.units.value, usual.units.value);
    EXPECT_EQ(read.color.value, usual.color.value);
    EXPECT_EQ(read.folder.value, "/home/a[b]");
    EXPECT_EQ(read.exclude.value, usual.exclude.value);
    EXPECT_EQ(read.keepAll.value, usual.keepAll.value);
    EXPECT_EQ(read.keepDaily.value, usual.keepDaily.value);
    EXPECT_EQ(read.keepWeekly.value, usual.keepWeekly.value);
    EXPECT_EQ(read.mostBytes.value, usual.mostBytes.value);
    EXPECT_EQ(read.pageColors.value, usual.pageColors.value);
    for (const SettingSource source :
         {read.units.source, read.color.source, read.folder.source, read.exclude.source, read.keepAll.source,
          read.keepDaily.source, read.keepWeekly.source, read.mostBytes.source, read.pageColors.source}) {
        EXPECT_EQ(source, SettingSource::file);
    }
}

}  // namespace KestrelCLI
