#include "Applications/Orphans.hpp"

#include "KestrelCore/Applications/ApplicationInspector.hpp"
#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/UnprivilegedThread.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;

/// A home directory, an application folder and a system's data folder, all temporary.
class OrphansTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return root_ / name; }

    void write(const std::string& name, const std::string& content = "x") const {
        fs::create_directories(fs::path{path(name)}.parent_path());
        std::ofstream{path(name), std::ios::binary} << content;
    }
    void addEntry(const std::string& identifier, const std::string& lines) const {
        write("usr/share/applications/" + identifier + ".desktop", "[Desktop Entry]\nType=Application\n" + lines);
    }

    DesktopLocations locations() const {
        return {.homeFolder = path("home"),
                .dataFolder = path("home/.local/share"),
                .systemDataFolders = {path("usr/share")},
                .configurationFolder = path("home/.config"),
                .cacheFolder = path("home/.cache"),
                .stateFolder = path("home/.local/state"),
                .flatpakInstallations = {path("var/lib/flatpak")},
                .locale = {}};
    }
    std::vector<ApplicationOrphan> desktopOrphans() const {
        return DesktopApplicationInspector{locations(), FileManager::standard()}.orphans();
    }
    std::vector<ApplicationOrphan> libraryOrphans() const {
        const ApplicationLocations places{.applicationFolders = {path("Applications"), path("home/Applications")},
                                          .libraryFolder = path("home/Library")};
        return ApplicationInspector{places, FileManager::standard()}.orphans();
    }

    /// Each place, relative to the home directory.
    std::vector<std::string> places(const std::vector<ApplicationOrphan>& orphans) const {
        std::vector<std::string> found;
        for (const ApplicationOrphan& orphan : orphans) {
            for (const ResidueCandidate& residue : orphan.residues)
                found.push_back(fs::relative(residue.url.path().string(), path("home")));
        }
        return found;
    }

    using Places = std::vector<std::string>;

private:
    TemporaryFolder root_;
};

TEST_F(OrphansTest, areWhatNoInstalledApplicationClaims) {
    addEntry("org.example.Here", "Name=Here\n");
    for (const char* folder : {".cache", ".config", ".local/share", ".local/state"}) {
        write(std::string{"home/"} + folder + "/org.example.Gone/data", std::string(5000, 'x'));
        write(std::string{"home/"} + folder + "/org.example.Here/data");
    }
    write("home/.var/app/org.example.Gone/config/settings");
    write("home/.var/app/org.example.Here/config/settings");
    write("home/.var/app/plain/config/settings");
    const std::vector<ApplicationOrphan> orphans = desktopOrphans();
    EXPECT_EQ(places(orphans),
              (Places{".var/app/org.example.Gone", ".cache/org.example.Gone", ".config/org.example.Gone",
                      ".local/share/org.example.Gone", ".local/state/org.example.Gone", ".var/app/plain"}));
    ASSERT_EQ(orphans.size(), 2U);
    EXPECT_EQ(orphans[0].identifier, "org.example.Gone");
    EXPECT_GE(orphans[0].estimatedBytes(), 4 * 5000);
    EXPECT_EQ(orphans[0].residues[0].evidence, "A Flatpak that is not installed");
    EXPECT_EQ(orphans[0].residues[1].evidence, "No installed application has this identifier");
    for (const ResidueCandidate& residue : orphans[0].residues) EXPECT_FALSE(residue.selectedByDefault());
}

TEST_F(OrphansTest, areNothingThatSomethingInstalledGoesBy) {
    for (const char* name : {"org.example.hidden", "org.example.Broken", "org.example.Service", "org.example.Part",
                             "org.example.Flatpak", "org.example.suite.writer", "com.example.tool", "org.case.APP"})
        write(std::string{"home/.config/"} + name + "/settings");
    addEntry("org.example.hidden", "Name=Hidden\nNoDisplay=true\n");
    write("usr/share/applications/org.example.Broken.desktop", "no entry");
    write("usr/share/dbus-1/services/org.example.Service.service");
    write("usr/share/metainfo/org.example.Part.metainfo.xml");
    write("var/lib/flatpak/app/org.example.Flatpak/note");
    addEntry("suite", "Name=Suite\nExec=/opt/org.example.suite\n");
    addEntry("tool", "Name=com.example.tool\n");
    addEntry("org.case.App", "Name=Case\n");
    EXPECT_EQ(places(desktopOrphans()), Places{});
}

TEST_F(OrphansTest, areNeitherFilesNorLinksNorNamesThatAnybodyMayHaveChosen) {
    write("home/.config/org.example.File");
    write("home/elsewhere/data");
    fs::create_directories(path("home/.config"));
    fs::create_directory_symlink(path("home/elsewhere"), path("home/.config/org.example.Link"));
    fs::create_directories(path("home/.var/app"));
    fs::create_directory_symlink(path("home/elsewhere"), path("home/.var/app/org.example.Link"));
    for (const char* name : {"editor", "draw.io", "tool-1.2.3", "org.freedesktop.portal", "gtk-3.0", "a..b.c",
                             ".org.example.App", "my notes.of.May"})
        write(std::string{"home/.config/"} + name + "/settings");
    EXPECT_EQ(places(desktopOrphans()), Places{});
}

TEST_F(OrphansTest, areNotLookedForAmongTheUsersOwnFolders) {
    write("home/holiday.in.may/photo");
    DesktopLocations here = locations();
    here.configurationFolder = here.homeFolder;
    EXPECT_TRUE((DesktopApplicationInspector{here, FileManager::standard()}.orphans().empty()));
    // And what two variables name is told once.
    here.configurationFolder = here.cacheFolder;
    write("home/.cache/org.example.Gone/data");
    EXPECT_EQ(places(DesktopApplicationInspector{here, FileManager::standard()}.orphans()),
              Places{".cache/org.example.Gone"});
}

TEST_F(OrphansTest, areNotToldWhereInstalledApplicationsCanNotBeRead) {
    write("home/.var/app/org.example.Here/data");
    fs::create_directories(path("var/lib/flatpak/app"));
    EXPECT_EQ(places(desktopOrphans()), Places{".var/app/org.example.Here"});
    fs::permissions(path("var/lib/flatpak/app"), fs::perms::none);
    {
        const UnprivilegedThread unprivileged;
        EXPECT_THROW((void)desktopOrphans(), KestrelError);
    }
    fs::permissions(path("var/lib/flatpak/app"), fs::perms::owner_all);
}

TEST_F(OrphansTest, ofTheLibraryStandInItsPlaces) {
    const auto install = [this](const std::string& bundle, const std::string& identifier) {
        write(bundle + "/Contents/Info.plist", "{ CFBundleIdentifier = \"" + identifier + "\"; }");
    };
    install("Applications/Here.app", "com.example.here");
    install("Applications/Vendor/Deep.app", "com.vendor.deep");
    for (const char* identifier : {"com.example.gone", "com.example.here", "com.example.here.helper", "com.vendor.deep",
                                   "com.apple.finder", "plain"}) {
        write(std::string{"home/Library/Caches/"} + identifier + "/data");
        write(std::string{"home/Library/Preferences/"} + identifier + ".plist");
    }
    write("home/Library/Application Support/com.example.gone/data");
    EXPECT_EQ(places(libraryOrphans()),
              (Places{"Library/Caches/com.example.gone", "Library/Preferences/com.example.gone.plist"}));
}

TEST_F(OrphansTest, areNoneWhereNothingIs) {
    EXPECT_TRUE(desktopOrphans().empty());
    EXPECT_TRUE(libraryOrphans().empty());
}

TEST(ApplicationIdentifier, isADomainTurnedRound) {
    for (const char* name : {"org.example.App", "io.github.some_one.Tool-2", "a.b.c", "org._7.x"})
        EXPECT_TRUE(isApplicationIdentifier(name)) << name;
    for (const char* name :
         {"", "app", "draw.io", "a.b.", ".a.b.c", "a..b.c", "a.b.2c", "1.2.3", "a.b.c d", "a.b.ç", "a/b.c.d"})
        EXPECT_FALSE(isApplicationIdentifier(name)) << name;
}

TEST(IdentifierClaims, holdPartsAndWholesButNotTheVendor) {
    IdentifierClaims claims;
    claims.add("org.example.suite.Writer");
    claims.add("org.example.App");
    claims.add("");
    for (const char* name : {"org.example.App", "ORG.EXAMPLE.APP", "org.example.App.Helper.Inner", "org.example.suite"})
        EXPECT_TRUE(claims.hold(name)) << name;
    for (const char* name : {"org.example.Apple", "org.example", "org.example.Other", "org", ""})
        EXPECT_FALSE(claims.hold(name)) << name;
}

}  // namespace
}  // namespace KestrelCore
