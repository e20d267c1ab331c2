#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"

#include "Applications/Residues.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <sys/stat.h>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;

/// A desktop in a temporary folder.
class DesktopApplicationInspectorTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return std::string{root_.path()} + "/" + name; }

    void write(const std::string& name, const std::string& content = "x") const {
        fs::create_directories(fs::path{path(name)}.parent_path());
        std::ofstream{path(name), std::ios::binary} << content;
    }

    void addEntry(const std::string& name, const std::string& lines) const {
        write(name, "[Desktop Entry]\nType=Application\n" + lines);
    }

    void addFlatpak(const std::string& installation, const std::string& identifier, const std::string& lines) const {
        const std::string home = installation + "/app/" + identifier;
        const std::string deployed = home + "/x86_64/stable/0123abcd";
        addEntry(deployed + "/export/share/applications/" + identifier + ".desktop", lines);
        fs::create_directory_symlink("x86_64/stable", path(home + "/current"));
        fs::create_directory_symlink("0123abcd", path(home + "/x86_64/stable/active"));
    }

    DesktopApplicationInspector inspector(const Text& locale = "") const {
        const DesktopLocations locations{
            .homeFolder = path("home"),
            .dataFolder = path("home/.local/share"),
            .systemDataFolders = {path("usr/local/share"), path("usr/share")},
            .configurationFolder = path("home/.config"),
            .cacheFolder = path("home/.cache"),
            .stateFolder = path("home/.local/state"),
            .flatpakInstallations = {path("home/.local/share/flatpak"), path("var/lib/flatpak")},
            .locale = locale};
        return DesktopApplicationInspector{locations, FileManager::standard()};
    }

    std::vector<ApplicationRecord> applications(const Text& locale = "") const {
        return inspector(locale).installedApplications();
    }

    /// Name and place of each application, the place relative to the temporary folder.
    std::vector<std::pair<Text, Text>> listing(const Text& locale = "") const {
        std::vector<std::pair<Text, Text>> items;
        for (const ApplicationRecord& record : applications(locale))
            items.emplace_back(record.displayName, relative(record.url.path()));
        return items;
    }

    /// The residues of the application with that name: their places below the home directory, and how sure they are.
    std::vector<std::pair<Text, ResidueConfidence>> residues(const Text& name) const {
        std::vector<std::pair<Text, ResidueConfidence>> items;
        for (const ApplicationRecord& record : applications()) {
            if (record.displayName != name) continue;
            for (const ResidueCandidate& residue : record.residues)
                items.emplace_back(relative(residue.url.path()), residue.confidence);
        }
        return items;
    }

    Text relative(const Text& item) const {
        const std::size_t prefix = path("").size();
        return item.slice(prefix, item.byteCount() - prefix);
    }

    using Listed = std::vector<std::pair<Text, Text>>;
    using Residues = std::vector<std::pair<Text, ResidueConfidence>>;
    static constexpr ResidueConfidence high = ResidueConfidence::high;
    static constexpr ResidueConfidence uncertain = ResidueConfidence::uncertain;

private:
    TemporaryFolder root_;
};

}  // namespace

TEST_F(DesktopApplicationInspectorTest, findsNothingWhereThereIsNoDesktop) { EXPECT_TRUE(applications().empty()); }

TEST_F(DesktopApplicationInspectorTest, listsEntriesSortedByTheirLocalizedNames) {
    addEntry("usr/share/applications/org.x.Ten.desktop", "Name=App 10\nName[de]=Zehn");
    addEntry("usr/share/applications/org.x.Two.desktop", "Name=App 2");
    addEntry("usr/share/applications/nameless.desktop", "");
    write("usr/share/applications/note.txt", "[Desktop Entry]\nType=Application\nName=No");
    write("usr/share/applications/broken.desktop", "Name=No");
    write("usr/share/applications/link.desktop", "[Desktop Entry]\nType=Link\nName=No");
    EXPECT_EQ(listing(), (Listed{{"App 2", "usr/share/applications/org.x.Two.desktop"},
                                 {"App 10", "usr/share/applications/org.x.Ten.desktop"},
                                 {"nameless", "usr/share/applications/nameless.desktop"}}));
    EXPECT_EQ(listing("de_DE.UTF-8").back().first, "Zehn");
    const ApplicationRecord record = applications().front();
    EXPECT_EQ(record.bundleIdentifier, Text{"org.x.Two"});
    EXPECT_EQ(record.version, std::nullopt);
}

TEST_F(DesktopApplicationInspectorTest, listsTheSameWithoutASearchForResidues) {
    addEntry("usr/share/applications/org.x.Two.desktop", "Name=Two");
    addEntry("usr/share/applications/org.x.One.desktop", "Name=One");
    write("home/.cache/org.x.One/file");
    ASSERT_EQ(applications().front().residues.size(), 1U);
    const std::vector<ApplicationRecord> listed = inspector().listedApplications();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed.front().displayName, "One");
    EXPECT_EQ(listed.front().bundleIdentifier, Text{"org.x.One"});
    EXPECT_TRUE(listed.front().residues.empty());
}

TEST_F(DesktopApplicationInspectorTest, takesEachIdentifierFromTheFirstFolderThatHasIt) {
    addEntry("usr/share/applications/org.x.App.desktop", "Name=System");
    addEntry("usr/local/share/applications/org.x.App.desktop", "Name=Local");
    EXPECT_EQ(listing(), (Listed{{"Local", "usr/local/share/applications/org.x.App.desktop"}}));
    addEntry("home/.local/share/applications/org.x.App.desktop", "Name=Own");
    EXPECT_EQ(listing(), (Listed{{"Own", "home/.local/share/applications/org.x.App.desktop"}}));
}

TEST_F(DesktopApplicationInspectorTest, anEntryThatIsHiddenHidesTheOnesBehindIt) {
    addEntry("usr/share/applications/a.desktop", "Name=A");
    addEntry("usr/share/applications/b.desktop", "Name=B");
    addEntry("usr/share/applications/c.desktop", "Name=C\nNoDisplay=true");
    addEntry("home/.local/share/applications/a.desktop", "Name=A\nHidden=true");
    addEntry("home/.local/share/applications/b.desktop", "Name=B\nNoDisplay=true");
    EXPECT_EQ(listing(), Listed{});
}

TEST_F(DesktopApplicationInspectorTest, anEntryInASubFolderCarriesTheFoldersNameInItsIdentifier) {
    addEntry("usr/share/applications/kde/okular.desktop", "Name=Okular");
    addEntry("home/.local/share/applications/kde-okular.desktop", "Name=Own Okular");
    EXPECT_EQ(listing(), (Listed{{"Own Okular", "home/.local/share/applications/kde-okular.desktop"}}));
    fs::create_directory_symlink("..", path("usr/share/applications/loop"));
    EXPECT_EQ(listing().size(), 1U);
}

TEST_F(DesktopApplicationInspectorTest, readsEntriesThroughLinksButNoFIFOs) {
    addEntry("opt/app/app.desktop", "Name=Linked");
    fs::create_directories(path("usr/share/applications"));
    fs::create_symlink(path("opt/app/app.desktop"), path("usr/share/applications/app.desktop"));
    fs::create_symlink("loop.desktop", path("usr/share/applications/loop.desktop"));
    fs::create_symlink("/dev/zero", path("usr/share/applications/zero.desktop"));
    ASSERT_EQ(mkfifo(path("usr/share/applications/fifo.desktop").c_str(), 0644), 0);
    EXPECT_EQ(listing(), (Listed{{"Linked", "usr/share/applications/app.desktop"}}));
}

TEST_F(DesktopApplicationInspectorTest, aFlatpakStandsBeforeAnEntryAndTheUsersOwnBeforeTheSystems) {
    addEntry("home/.local/share/applications/org.x.App.desktop", "Name=Entry");
    addFlatpak("var/lib/flatpak", "org.x.App", "Name=System Flatpak");
    EXPECT_EQ(listing(), (Listed{{"System Flatpak", "var/lib/flatpak/app/org.x.App/x86_64/stable/0123abcd"}}));
    addFlatpak("home/.local/share/flatpak", "org.x.App", "Name=Own Flatpak");
    EXPECT_EQ(listing(), (Listed{{"Own Flatpak", "home/.local/share/flatpak/app/org.x.App/x86_64/stable/0123abcd"}}));
}

TEST_F(DesktopApplicationInspectorTest, aFlatpakSaysItsVersionInItsMetadata) {
    addFlatpak("var/lib/flatpak", "org.x.App", "Name=App");
    const std::string metadata =
        "var/lib/flatpak/app/org.x.App/x86_64/stable/0123abcd/export/share/metainfo/org.x.App.metainfo.xml";
    EXPECT_EQ(applications().front().version, std::nullopt);
    for (const auto& [content, version] : std::initializer_list<std::pair<const char*, std::optional<Text>>>{
             {"<releases><release date=\"x\" version=\"2.1\"/><release version=\"2.0\"/></releases>", Text{"2.1"}},
             {"<release ", std::nullopt},
             {"<release version=\"", std::nullopt},
             {"<release version=\"\">", std::nullopt},
             {"<release date=\"1\"> version=\"3\"", std::nullopt},
             {"", std::nullopt}}) {
        write(metadata, content);
        EXPECT_EQ(applications().front().version, version) << content;
    }
}

TEST_F(DesktopApplicationInspectorTest, followsAFlatpaksLinksOnlyBeneathItsFolder) {
    addFlatpak("var/lib/flatpak", "org.x.Outside", "Name=Outside");
    fs::remove(path("var/lib/flatpak/app/org.x.Outside/current"));
    fs::create_directory_symlink(path("elsewhere"), path("var/lib/flatpak/app/org.x.Outside/current"));
    addFlatpak("var/lib/flatpak", "org.x.Above", "Name=Above");
    fs::remove(path("var/lib/flatpak/app/org.x.Above/current"));
    fs::create_directory_symlink("../org.x.Outside/x86_64/stable", path("var/lib/flatpak/app/org.x.Above/current"));
    fs::create_directories(path("var/lib/flatpak/app/org.x.Removed/x86_64/stable"));
    write("var/lib/flatpak/app/file");
    EXPECT_EQ(listing(), Listed{});
}

TEST_F(DesktopApplicationInspectorTest, residuesOfAFullIdentifierAreCertain) {
    addEntry("usr/share/applications/org.x.App.desktop", "Name=App");
    for (const char* folder : {".local/state", ".local/share", ".config", ".cache", ".var/app"})
        write("home/" + std::string{folder} + "/org.x.App/data", std::string(5'000, 'x'));
    write("home/.config/org.x.App2/data");
    EXPECT_EQ(residues("App"), (Residues{{"home/.var/app/org.x.App", high},
                                         {"home/.cache/org.x.App", high},
                                         {"home/.config/org.x.App", high},
                                         {"home/.local/share/org.x.App", high},
                                         {"home/.local/state/org.x.App", high}}));
    const ApplicationRecord record = applications().front();
    EXPECT_EQ(record.residues[0].evidence, "Exact application identifier match: org.x.App");
    EXPECT_GE(record.residues[0].allocatedBytes, 5'000);
    EXPECT_EQ(record.estimatedBytes(), 5 * record.residues[0].allocatedBytes);
}

TEST_F(DesktopApplicationInspectorTest, residuesOfAMereNameAreUncertain) {
    addEntry("usr/share/applications/editor.desktop", "Name=Text Editor\nName[de]=Texteditor\nExec=/usr/bin/tedit %U");
    for (const char* name : {"editor", "tedit", "text editor", "Text Editor", "texteditor", "Tedit"})
        write("home/.config/" + std::string{name} + "/data");
    write("home/.cache/editor/data");
    write("home/.local/share/tedit");  // a file
    EXPECT_EQ(residues("Text Editor"), (Residues{{"home/.cache/editor", uncertain},
                                                 {"home/.config/editor", uncertain},
                                                 {"home/.config/tedit", uncertain},
                                                 {"home/.config/text editor", uncertain}}));
    const ApplicationRecord record = applications().front();
    EXPECT_EQ(record.residues[2].evidence, "Name match: tedit");
    EXPECT_FALSE(record.residues[2].selectedByDefault());
}

TEST_F(DesktopApplicationInspectorTest, anIdentifierWithOneDotIsNeitherFullNorAName) {
    addEntry("usr/share/applications/x.app.desktop", "Name=App");
    write("home/.config/x.app/data");
    write("home/.var/app/x.app/data");
    EXPECT_EQ(residues("App"), (Residues{{"home/.var/app/x.app", high}}));
}

TEST_F(DesktopApplicationInspectorTest, sharedFoldersAreNobodysResidues) {
    for (const char* name : {"applications", "icons", "fonts", "mime", "Trash", "autostart", "systemd", "keyrings",
                             "dconf", "gtk-3.0", "flatpak", "Documents"}) {
        EXPECT_TRUE(isSharedDesktopFolder(name)) << name;
        addEntry("usr/share/applications/" + std::string{name} + ".desktop",
                 "Name=" + std::string{name} + "\nExec=" + name);
        write("home/.config/" + std::string{name} + "/data");
        write("home/.local/share/" + std::string{name} + "/data");
    }
    EXPECT_FALSE(isSharedDesktopFolder("gimp"));
    for (const ApplicationRecord& record : applications()) EXPECT_TRUE(record.residues.empty());
}

TEST_F(DesktopApplicationInspectorTest, namesThatLeadElsewhereNameNothing) {
    addEntry("usr/share/applications/...desktop", "Name=..\nExec=..");
    addEntry("usr/share/applications/..desktop", "Name=a/b\nExec=/");
    addEntry("usr/share/applications/x.desktop", "Name=.hidden\nExec=\"../..\"");
    for (const char* folder : {".config/a/b", ".config/.hidden", ".var/app", ".cache"})
        write("home/" + std::string{folder} + "/data");
    for (const ApplicationRecord& record : applications()) EXPECT_TRUE(record.residues.empty());
    EXPECT_EQ(applications().size(), 3U);
}

TEST_F(DesktopApplicationInspectorTest, linksAreNoResidues) {
    addEntry("usr/share/applications/org.x.App.desktop", "Name=app");
    write("home/outside/data", std::string(50'000, 'x'));
    for (const char* link : {".config/org.x.App", ".var/app/org.x.App", ".cache/app"}) {
        fs::create_directories(fs::path{path("home/" + std::string{link})}.parent_path());
        fs::create_directory_symlink(path("home/outside"), path("home/" + std::string{link}));
    }
    EXPECT_EQ(residues("app"), Residues{});
}

TEST_F(DesktopApplicationInspectorTest, aFolderClaimedByTwoApplicationsIsUncertainForBoth) {
    addEntry("usr/share/applications/org.x.App.desktop", "Name=One\nExec=suite");
    addEntry("usr/share/applications/org.y.App.desktop", "Name=Two\nExec=suite\n");
    addEntry("usr/share/applications/other.desktop", "Name=ORG.X.APP\n");
    write("home/.config/suite/data");
    write("home/.config/org.x.App/data");
    write("home/.config/org.x.app/data");
    EXPECT_EQ(residues("One"), (Residues{{"home/.config/org.x.App", high}, {"home/.config/suite", uncertain}}));
    EXPECT_EQ(residues("Two"), (Residues{{"home/.config/suite", uncertain}}));
    addEntry("usr/share/applications/third.desktop", "Name=Three\nExec=org.x.App");
    EXPECT_EQ(residues("One").front(), (std::pair<Text, ResidueConfidence>{"home/.config/org.x.App", uncertain}));
    EXPECT_EQ(residues("Three"), (Residues{{"home/.config/org.x.App", uncertain}}));
}

TEST_F(DesktopApplicationInspectorTest, oneFolderThatAnApplicationNamesTwiceIsOneResidue) {
    addEntry("usr/share/applications/gimp.desktop", "Name=GIMP\nExec=gimp %U");
    write("home/.config/gimp/data");
    EXPECT_EQ(residues("GIMP"), (Residues{{"home/.config/gimp", uncertain}}));
}

}  // namespace KestrelCore
