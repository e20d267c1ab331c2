#include "Applications/DesktopEntry.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <string>
#include <utility>

namespace KestrelCore {
namespace {

DesktopEntry entry(const std::string& lines, std::string_view locale = "") {
    const auto entry = DesktopEntry::parse("[Desktop Entry]\n" + lines, locale);
    EXPECT_TRUE(entry.has_value());
    return entry.value_or(DesktopEntry{});
}

}  // namespace

TEST(DesktopEntry, readsItsOwnGroupOnly) {
    const auto entry =
        DesktopEntry::parse("# a comment\n\n[Other]\nName=No\n[Desktop Entry]\r\n Type = Application \r\n"
                            "Name=Editor\nbroken line\nName=Second\n[Desktop Action new]\nName=New\n",
                            "");
    ASSERT_TRUE(entry.has_value());
    EXPECT_TRUE(entry->isApplication);
    EXPECT_EQ(entry->plainName, "Editor");
    EXPECT_FALSE(entry->isHidden);
    EXPECT_FALSE(entry->isNotDisplayed);
}

TEST(DesktopEntry, isNothingWithoutItsGroup) {
    for (const char* content : {"", "Name=x", "[Other]\nName=x", "[Desktop Entry", "[]", "["})
        EXPECT_FALSE(DesktopEntry::parse(content, "").has_value()) << content;
}

TEST(DesktopEntry, tellsWhatIsNotShown) {
    EXPECT_TRUE(entry("Hidden=true").isHidden);
    EXPECT_FALSE(entry("Hidden=false").isHidden);
    EXPECT_TRUE(entry("NoDisplay=true").isNotDisplayed);
    EXPECT_FALSE(entry("Type=Link").isApplication);
}

TEST(DesktopEntry, takesTheNameOfTheUsersLanguage) {
    const std::string lines = "Name=plain\nName[de]=de\nName[de_AT]=de_AT\nName[sr@latin]=sr@latin\n"
                              "Name[sr_RS@latin]=sr_RS@latin\nName[]=none\n";
    for (const auto& [locale, name] :
         std::initializer_list<std::pair<const char*, const char*>>{{"", "plain"},
                                                                    {"C", "plain"},
                                                                    {"de_DE.UTF-8", "de"},
                                                                    {"de_AT.UTF-8@euro", "de_AT"},
                                                                    {"sr_RS.UTF-8@latin", "sr_RS@latin"},
                                                                    {"sr_ME@latin", "sr@latin"},
                                                                    {"sr", "plain"},
                                                                    {"@latin", "plain"},
                                                                    {"fr_FR", "plain"}}) {
        EXPECT_EQ(entry(lines, locale).localizedName, name) << locale;
        EXPECT_EQ(entry(lines, locale).plainName, "plain") << locale;
    }
}

TEST(DesktopEntry, resolvesEscapes) { EXPECT_EQ(entry(R"(Name=a\sb\\c\td\n\r\x\)").plainName, "a b\\c\td\n\r\\x\\"); }

TEST(DesktopEntry, findsTheProgramBehindItsLaunchers) {
    for (const auto& [command, name] : std::initializer_list<std::pair<const char*, const char*>>{
             {"gimp-2.10 %U", "gimp-2.10"},
             {"/usr/bin/gedit --new-window", "gedit"},
             {R"("/opt/My App/bin/my app" %f)", "my app"},
             {"env -u X --ignore-environment GDK_BACKEND=x11 A=/b/c /usr/bin/foo", "foo"},
             {"env -u", ""},
             {"env BAMF_DESKTOP_FILE_HINT=/var/x.desktop /snap/bin/foo %U", "foo"},
             {"LANG=C foo", "foo"},
             {"/usr/bin/flatpak run --branch=stable --command=gimp org.gimp.GIMP", "gimp"},
             {"/usr/bin/flatpak run org.gimp.GIMP", ""},
             {"python3.11 /opt/tool.py", ""},
             {"sh -c 'foo'", ""},
             {"env", ""},
             {"", ""},
             {"   ", ""}})
        EXPECT_EQ(entry("Exec=" + std::string{command}).executable, name) << command;
}

TEST(DesktopEntry, readsGroupsOfOtherKeyFiles) {
    const auto group = keyFileGroup("[Application]\nname=org.x.Y\nruntime = r/1\n", "Application");
    ASSERT_TRUE(group.has_value());
    EXPECT_EQ(group->at("name"), "org.x.Y");
    EXPECT_EQ(group->at("runtime"), "r/1");
}

TEST(DesktopEntry, survivesItsCorpus) {
    int files = 0;
    for (const auto& item : std::filesystem::directory_iterator{std::string{KESTREL_FUZZ_CORPUS} + "/desktopentry"}) {
        std::ifstream file{item.path(), std::ios::binary};
        const std::string content{std::istreambuf_iterator<char>{file}, {}};
        for (std::size_t size = 0; size <= content.size(); ++size)
            (void)DesktopEntry::parse(std::string_view{content}.substr(0, size), "de_AT@euro");
        ++files;
    }
    EXPECT_GE(files, 5);
}

}  // namespace KestrelCore
