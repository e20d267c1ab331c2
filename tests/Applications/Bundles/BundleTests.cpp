#include "Applications/Bundles/Bundle.hpp"

#include "KestrelCore/Base/URL.hpp"
#include "Platform/SmallFile.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace KestrelCore {
namespace {

class BundleTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return std::string{folder_.path()} + "/" + name; }
    void write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path{path(name)}.parent_path());
        std::ofstream{path(name), std::ios::binary} << content;
    }
    std::optional<Bundle> open(const std::string& name) const { return Bundle::open(path(name)); }
    /// The bundle's identifier, "-" when it has none and "no bundle" when there is no bundle.
    Text identifier(const std::string& name) const {
        const auto bundle = open(name);
        return bundle ? bundle->identifier().value_or("-") : Text{"no bundle"};
    }

private:
    TemporaryFolder folder_;
};

}  // namespace

TEST_F(BundleTest, isAnyFolderButNoFile) {
    std::filesystem::create_directories(path("Empty.app"));
    write("File.app", "x");
    EXPECT_EQ(identifier("Empty.app"), "-");
    EXPECT_EQ(identifier("File.app"), "no bundle");
    EXPECT_EQ(identifier("Missing.app"), "no bundle");
}

TEST_F(BundleTest, isLocalizedForTheFirstOfTheUsersLanguagesThatItHas) {
    write("A.app/Contents/Info.plist", "{ CFBundleName = plain; CFBundleGetInfoString = plain; }");
    const std::string resources = "A.app/Contents/Resources/";
    write(resources + "de.lproj/InfoPlist.strings", "CFBundleName = deutsch;");
    write(resources + "de-AT.lproj/Localizable.strings", "CFBundleName = none;");
    write(resources + "pt_BR.lproj/InfoPlist.strings", "CFBundleName = brasileiro;");
    write(resources + "zh-Hans.lproj/InfoPlist.strings", "CFBundleName = hans;");
    write(resources + "en.lproj/InfoPlist.strings", "CFBundleName = english; CFBundleGetInfoString = english;");
    struct Case {
        std::vector<Text> languages;
        const char* name;
        const char* information;
    };
    const Case cases[] = {
        {{"de-CH", "en"}, "deutsch", "english"},
        {{"pt-BR", "de"}, "brasileiro", "plain"},
        {{"zh-Hans-CN"}, "hans", "plain"},
        {{"fr-FR", "en"}, "english", "english"},
        // A folder that is there is the one, also without a name in it: the next language is asked then.
        {{"de-AT", "en"}, "english", "english"},
        {{"fr"}, "plain", "plain"},
        {{}, "plain", "plain"},
        {{"", "..", "/"}, "plain", "plain"},
    };
    for (const Case& each : cases) {
        const auto bundle = Bundle::open(path("A.app"), each.languages);
        ASSERT_TRUE(bundle);
        EXPECT_EQ(bundle->string("CFBundleName"), each.name);
        EXPECT_EQ(bundle->string("CFBundleGetInfoString"), each.information) << each.name;
    }
}

TEST_F(BundleTest, readsItsInformationInEveryLayout) {
    write("A.app/Contents/Info.plist", "{ CFBundleIdentifier = contents; }");
    write("B.app/Resources/Info.plist", "{ CFBundleIdentifier = resources; }");
    write("C.app/Support Files/Info.plist", "{ CFBundleIdentifier = support; }");
    write("D.app/Info.plist", "{ CFBundleIdentifier = flat; }");
    write("E.app/contents/INFO.plist", "{ CFBundleIdentifier = lower; }");
    write("F.app/contents/Info.plist", "{ CFBundleIdentifier = similar; }");
    write("F.app/Contents/Info.plist", "{ CFBundleIdentifier = exact; }");
    EXPECT_EQ(identifier("A.app"), "contents");
    EXPECT_EQ(identifier("B.app"), "resources");
    EXPECT_EQ(identifier("C.app"), "support");
    EXPECT_EQ(identifier("D.app"), "flat");
    EXPECT_EQ(identifier("E.app"), "lower");
    EXPECT_EQ(identifier("F.app"), "exact");
}

TEST_F(BundleTest, isFoundBehindALink) {
    write("A.app/Contents/Info.plist", "{ CFBundleIdentifier = a; }");
    std::filesystem::create_symlink("A.app", path("Link.app"));
    std::filesystem::create_symlink("Loop.app", path("Loop.app"));
    EXPECT_EQ(identifier("Link.app"), "a");
    EXPECT_EQ(identifier("Loop.app"), "no bundle");
}

TEST_F(BundleTest, looksIntoAWrapperAndNowhereElse) {
    write("W.app/Wrapper/Inner.app/Info.plist", "{ CFBundleIdentifier = inner; }");
    std::filesystem::create_symlink("Wrapper/Inner.app", path("W.app/WrappedBundle"));
    write("Outside.app/Info.plist", "{ CFBundleIdentifier = outside; }");
    std::filesystem::create_directories(path("V.app/Wrapper"));
    std::filesystem::create_symlink(path("Outside.app"), path("V.app/WrappedBundle"));
    std::filesystem::create_directories(path("U.app/Wrapper"));
    std::filesystem::create_symlink("Wrapper/..", path("U.app/WrappedBundle"));
    EXPECT_EQ(identifier("W.app"), "inner");
    EXPECT_EQ(identifier("V.app"), "-");
    EXPECT_EQ(identifier("U.app"), "-");
}

TEST_F(BundleTest, prefersLocalizedValuesKeyByKey) {
    write("A.app/Contents/Info.plist",
          "{ CFBundleIdentifier = id; CFBundleName = plain; CFBundleDisplayName = shown; V = 1; }");
    write("A.app/Contents/Resources/en.lproj/InfoPlist.strings",
          "CFBundleName = english; CFBundleIdentifier = localized;");
    write("A.app/Contents/Resources/Base.lproj/InfoPlist.strings", "CFBundleName = base; CFBundleDisplayName = \"\";");
    const auto bundle = open("A.app");
    ASSERT_TRUE(bundle.has_value());
    EXPECT_EQ(bundle->string("CFBundleName"), Text{"english"});
    EXPECT_EQ(bundle->string("CFBundleDisplayName"), Text{""});
    EXPECT_EQ(bundle->string("V"), Text{"1"});
    EXPECT_EQ(bundle->string("W"), std::nullopt);
    EXPECT_EQ(bundle->identifier(), Text{"id"});
}

TEST_F(BundleTest, valuesOfOtherTypesAreAbsent) {
    write("A.app/Contents/Info.plist", "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><integer>3</integer>"
                                       "<key>CFBundleName</key><array><string>x</string></array></dict></plist>");
    const auto bundle = open("A.app");
    ASSERT_TRUE(bundle.has_value());
    EXPECT_EQ(bundle->identifier(), std::nullopt);
    EXPECT_EQ(bundle->string("CFBundleName"), std::nullopt);
}

TEST_F(BundleTest, brokenInformationGivesABundleWithoutValues) {
    for (const char* content : {"", "{", "(a, b)", "<plist version=\"1.0\"><array/></plist>", "bplist00garbage",
                                "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>x"}) {
        write("A.app/Contents/Info.plist", content);
        EXPECT_EQ(identifier("A.app"), "-") << content;
    }
}

TEST_F(BundleTest, readsInformationFromSmallRegularFilesOnly) {
    write("real.plist", "{ CFBundleIdentifier = real; }");
    std::filesystem::create_directories(path("A.app/Contents"));
    const std::string information = path("A.app/Contents/Info.plist");
    ASSERT_EQ(symlink(path("real.plist").c_str(), information.c_str()), 0);
    EXPECT_EQ(identifier("A.app"), "-");
    unlink(information.c_str());
    ASSERT_EQ(mkfifo(information.c_str(), 0644), 0);
    EXPECT_EQ(identifier("A.app"), "-");
    unlink(information.c_str());
    ASSERT_EQ(symlink("/dev/zero", information.c_str()), 0);
    EXPECT_EQ(identifier("A.app"), "-");
    unlink(information.c_str());
    ASSERT_EQ(mkdir(information.c_str(), 0755), 0);
    EXPECT_EQ(identifier("A.app"), "-");
    rmdir(information.c_str());
    write("A.app/Contents/Info.plist", "{ CFBundleIdentifier = large; }");
    ASSERT_EQ(truncate(information.c_str(), off_t{10} << 30), 0);  // ten gigabytes, sparse
    EXPECT_EQ(identifier("A.app"), "-");
    write("A.app/Contents/Info.plist", "{ CFBundleIdentifier = small; }");
    EXPECT_EQ(identifier("A.app"), "small");
}

TEST_F(BundleTest, aSmallFileIsReadWholeOrNotAtAll) {
    write("five", "12345");
    EXPECT_EQ(readSmallFile(path("five"), 5), "12345");
    EXPECT_EQ(readSmallFile(path("five"), 4), std::nullopt);
    write("empty", "");
    EXPECT_EQ(readSmallFile(path("empty"), 5), "");
    std::filesystem::create_symlink("five", path("link"));
    EXPECT_EQ(readSmallFile(path("link"), 5), std::nullopt);
    EXPECT_EQ(readSmallFile(path("link"), 5, FinalLink::followed), "12345");
    EXPECT_EQ(readSmallFile("/dev/zero", 5, FinalLink::followed), std::nullopt);
    EXPECT_EQ(readSmallFile("/proc/self/status", 1 << 20)->substr(0, 5), "Name:");
}

}  // namespace KestrelCore
