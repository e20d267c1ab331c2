#include "KestrelCore/Applications/ApplicationInspector.hpp"

#include "Applications/Residues.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/FakeFileManager.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <limits>
#include <string>
#include <sys/stat.h>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;

/// A machine in a temporary folder: its "/Applications", and a home directory with "Applications" and "Library".
class ApplicationInspectorTest : public testing::Test {
protected:
    std::string path(const std::string& name) const { return std::string{root_.path()} + "/" + name; }

    void write(const std::string& name, const std::string& content = "x") const {
        fs::create_directories(fs::path{path(name)}.parent_path());
        std::ofstream{path(name), std::ios::binary} << content;
    }

    /// An application with this text as its information; none for the empty text.
    void install(const std::string& name, const std::string& information = "") const {
        fs::create_directories(path(name) + "/Contents");
        if (!information.empty()) write(name + "/Contents/Info.plist", information);
    }

    ApplicationInspector inspector() const {
        const ApplicationLocations locations{.applicationFolders = {path("Applications"), path("home/Applications")},
                                             .libraryFolder = path("home/Library")};
        return ApplicationInspector{locations, FileManager::standard()};
    }
    std::vector<ApplicationRecord> applications() const { return inspector().installedApplications(); }
    std::vector<ApplicationRecord> listedApplications() const { return inspector().listedApplications(); }

    std::vector<Text> names() const {
        std::vector<Text> names;
        for (const ApplicationRecord& record : applications()) names.push_back(record.displayName);
        return names;
    }

    /// The only application's residues, relative to the Library folder.
    std::vector<Text> residues() const {
        const std::vector<ApplicationRecord> records = applications();
        EXPECT_EQ(records.size(), 1U);
        std::vector<Text> paths;
        if (records.empty()) return paths;
        const std::size_t prefix = path("home/Library/").size();
        for (const ResidueCandidate& residue : records.front().residues)
            paths.push_back(residue.url.path().slice(prefix, residue.url.path().byteCount() - prefix));
        return paths;
    }

private:
    TemporaryFolder root_;
};

std::int64_t allocatedOnDisk(const std::string& path) {
    struct stat status;
    EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
    return std::int64_t{status.st_blocks} * 512;
}

ResidueCandidate residue(const char* path, std::int64_t bytes = 1) {
    return {.id = UUID::random(), .url = URL::fromPath(path), .allocatedBytes = bytes, .evidence = "because"};
}

ApplicationRecord application(const char* path, std::vector<ResidueCandidate> residues = {}) {
    return {.id = UUID::random(),
            .url = URL::fromPath(path, true),
            .displayName = "Name",
            .bundleIdentifier = "com.example.name",
            .version = "1",
            .residues = std::move(residues)};
}

}  // namespace

TEST_F(ApplicationInspectorTest, findsNothingWhereThereAreNoFolders) { EXPECT_TRUE(applications().empty()); }

TEST_F(ApplicationInspectorTest, findsNothingInAFolderThatIsAFile) {
    write("Applications");
    EXPECT_TRUE(applications().empty());
}

TEST_F(ApplicationInspectorTest, takesFoldersWithTheExtensionInAnyCase) {
    install("Applications/Foo.APP");
    install("Applications/Bar");
    install("Applications/Baz.application");
    install("Applications/.Hidden.app");
    install("Applications/Utilities/Nested.app");
    write("Applications/File.app");
    fs::create_symlink("nowhere", path("Applications/Dangling.app"));
    EXPECT_EQ(names(), std::vector<Text>{"Foo"});
}

TEST_F(ApplicationInspectorTest, listsALinkToABundleAsTheLink) {
    install("elsewhere/Real.app", "{ CFBundleName = Linked; }");
    fs::create_directories(path("Applications"));
    fs::create_symlink("../elsewhere/Real.app", path("Applications/Link.app"));
    fs::create_symlink("Loop.app", path("Applications/Loop.app"));
    const auto records = applications();
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].displayName, "Linked");
    EXPECT_EQ(records[0].url.path(), path("Applications/Link.app"));
}

TEST_F(ApplicationInspectorTest, prefersTheDisplayNameThenTheNameThenTheFile) {
    install("Applications/A.app", "{ CFBundleDisplayName = Shown; CFBundleName = Named; }");
    install("Applications/B.app", "{ CFBundleName = Named; }");
    install("Applications/C.app", "{ CFBundleDisplayName = (no, string); CFBundleName = <00>; }");
    install("Applications/D.app");
    install("Applications/E.v2.app");
    EXPECT_EQ(names(), (std::vector<Text>{"C", "D", "E.v2", "Named", "Shown"}));
}

TEST_F(ApplicationInspectorTest, takesAnEmptyNameAsItIs) {
    install("Applications/A.app", "{ CFBundleDisplayName = \"\"; CFBundleName = Named; }");
    EXPECT_EQ(names(), std::vector<Text>{""});
}

TEST_F(ApplicationInspectorTest, readsIdentifierAndVersionWhereTheyAreStrings) {
    install("Applications/A.app", "{ CFBundleIdentifier = com.example.a; CFBundleShortVersionString = 1.2; }");
    install("Applications/B.app", "{ CFBundleIdentifier = (x); CFBundleShortVersionString = {}; }");
    const auto records = applications();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].bundleIdentifier, Text{"com.example.a"});
    EXPECT_EQ(records[0].version, Text{"1.2"});
    EXPECT_EQ(records[1].bundleIdentifier, std::nullopt);
    EXPECT_EQ(records[1].version, std::nullopt);
}

TEST_F(ApplicationInspectorTest, sortsNamesByTheValueOfTheirNumbers) {
    for (const char* name : {"App 10", "app 1", "App 2", "Zebra", "Ärger"})
        install("Applications/" + std::string{name} + ".app");
    EXPECT_EQ(names(), (std::vector<Text>{"app 1", "App 2", "App 10", "Ärger", "Zebra"}));
}

TEST_F(ApplicationInspectorTest, listsTheSameApplicationOncePerFolder) {
    install("home/Applications/Foo.app", "{ CFBundleIdentifier = com.example.foo; }");
    install("Applications/Foo.app", "{ CFBundleIdentifier = com.example.foo; }");
    const auto records = applications();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].url.path(), path("Applications/Foo.app"));
    EXPECT_EQ(records[1].url.path(), path("home/Applications/Foo.app"));
    EXPECT_NE(records[0].id, records[1].id);
}

TEST_F(ApplicationInspectorTest, findsResiduesInTheirSevenPlacesInOrder) {
    install("Applications/Foo.app", "{ CFBundleIdentifier = com.example.foo; }");
    write("home/Library/Preferences/com.example.foo.plist", std::string(100'000, 'x'));
    write("home/Library/Saved Application State/com.example.foo.savedState/data");
    for (const char* folder : {"WebKit", "HTTPStorages", "Application Scripts", "Containers", "Caches"})
        write("home/Library/" + std::string{folder} + "/com.example.foo/data");
    for (const char* name :
         {"Application Support/com.example.foo/data", "Logs/com.example.foo/data", "Caches/com.example.foo2/data",
          "Caches/com.example.FOO/data", "Group Containers/com.example.foo/data", "Preferences/com.example.foo"})
        write("home/Library/" + std::string{name});
    EXPECT_EQ(residues(), (std::vector<Text>{"Caches/com.example.foo", "Containers/com.example.foo",
                                             "Application Scripts/com.example.foo", "HTTPStorages/com.example.foo",
                                             "WebKit/com.example.foo", "Preferences/com.example.foo.plist",
                                             "Saved Application State/com.example.foo.savedState"}));
    const std::vector<ApplicationRecord> records = applications();
    for (const ResidueCandidate& residue : records.front().residues) {
        EXPECT_EQ(residue.confidence, ResidueConfidence::high);
        EXPECT_TRUE(residue.selectedByDefault());
        EXPECT_EQ(residue.evidence, "Exact bundle identifier match: com.example.foo");
    }
}

TEST_F(ApplicationInspectorTest, listsTheSameApplicationsWithoutLookingForResidues) {
    install("Applications/Foo.app", "{ CFBundleIdentifier = com.example.foo; CFBundleShortVersionString = 2; }");
    install("home/Applications/Bar 2.app");
    write("home/Library/Caches/com.example.foo/data");
    const std::vector<ApplicationRecord> listed = listedApplications();
    ASSERT_EQ(listed.size(), 2U);
    EXPECT_EQ(listed[0].displayName, "Bar 2");
    EXPECT_EQ(listed[1].bundleIdentifier, "com.example.foo");
    EXPECT_EQ(listed[1].version, "2");
    EXPECT_TRUE(listed[1].residues.empty());
    EXPECT_FALSE(applications()[1].residues.empty());
}

TEST_F(ApplicationInspectorTest, anApplicationWithoutIdentifierHasNoResidues) {
    for (const char* name : {"Caches", "Containers"}) write("home/Library/" + std::string{name} + "/data");
    install("Applications/A.app");
    install("Applications/B.app", "{ CFBundleIdentifier = \"\"; }");
    for (const ApplicationRecord& record : applications()) {
        EXPECT_TRUE(record.residues.empty());
        EXPECT_EQ(record.estimatedBytes(), 0);
    }
}

TEST_F(ApplicationInspectorTest, anIdentifierThatLeadsElsewhereNamesNoResidue) {
    write("home/Library/Caches/a/b/data");
    write("home/Library/Caches/star/data");
    write("home/secret/data");
    for (const std::string& identifier :
         {std::string{".."}, std::string{"."}, std::string{"a/b"}, std::string{"../../secret"}, std::string{"/"},
          std::string{"a\\000"}, std::string{"*"}, std::string(10'000, 'x'), std::string{"STAR"}}) {
        install("Applications/A.app", "{ CFBundleIdentifier = \"" + identifier + "\"; }");
        EXPECT_TRUE(residues().empty()) << identifier;
    }
}

TEST(Residues, withoutALibraryThereAreNone) {
    FakeFileManager files;
    files.addFolder("/Caches/foo");
    EXPECT_EQ(libraryResidues("foo", "/", files).size(), 1U);
    EXPECT_TRUE(libraryResidues("foo", "", files).empty());
}

TEST(ApplicationInspector, aHomeDirectoryThatHasNoTextContributesNothing) {
    const EnvironmentSetting home{"CFFIXED_USER_HOME", "/nowhere/b\xff"};
    EXPECT_NO_THROW((void)ApplicationInspector{}.installedApplications());
}

TEST_F(ApplicationInspectorTest, measuresTheFilesOfAResidueButNotItsFolders) {
    install("Applications/Foo.app", "{ CFBundleIdentifier = foo; }");
    write("home/Library/Caches/foo/.hidden", std::string(5'000, 'x'));
    write("home/Library/Caches/foo/sub/Package.app/inside", std::string(20'000, 'x'));
    write("home/Library/Preferences/foo.plist", std::string(30'000, 'x'));
    write("outside/big", std::string(900'000, 'x'));
    fs::create_symlink(path("outside"), path("home/Library/Caches/foo/link"));
    fs::create_symlink(path("outside"), path("home/Library/WebKit"));  // its content is not foo's
    fs::create_directories(path("home/Library/Containers"));
    fs::create_symlink(path("outside"), path("home/Library/Containers/foo"));
    const auto records = applications();
    ASSERT_EQ(records.size(), 1U);
    const auto& residues = records[0].residues;
    ASSERT_EQ(residues.size(), 3U);
    const std::int64_t expected = allocatedOnDisk(path("home/Library/Caches/foo/.hidden")) +
                                  allocatedOnDisk(path("home/Library/Caches/foo/link")) +
                                  allocatedOnDisk(path("home/Library/Caches/foo/sub/Package.app/inside"));
    EXPECT_EQ(residues[0].allocatedBytes, expected);
    EXPECT_EQ(residues[1].allocatedBytes, 0);  // a link to a folder
    EXPECT_EQ(residues[2].allocatedBytes, 0);  // a plain file
    EXPECT_EQ(records[0].estimatedBytes(), expected);
}

TEST(ApplicationRecord, itsEstimateIsTheSumOfItsResidues) {
    EXPECT_EQ(application("/Applications/A.app").estimatedBytes(), 0);
    EXPECT_EQ(application("/Applications/A.app", {residue("/a", 5), residue("/b", 7)}).estimatedBytes(), 12);
}

TEST(ApplicationRecordDeathTest, anOverflowOfItsEstimateStopsTheProcess) {
    const ApplicationRecord record =
        application("/Applications/A.app", {residue("/a", std::numeric_limits<std::int64_t>::max()), residue("/b", 1)});
    EXPECT_DEATH((void)record.estimatedBytes(), "KestrelCore/Applications/ApplicationRecord");
}

TEST(ApplicationRecord, equalsAndHashesOverAllFields) {
    const ApplicationRecord record = application("/Applications/A.app", {residue("/a")});
    ApplicationRecord other = record;
    EXPECT_EQ(record, other);
    EXPECT_EQ(std::hash<ApplicationRecord>{}(record), std::hash<ApplicationRecord>{}(other));
    other.residues[0].allocatedBytes = 2;
    EXPECT_NE(record, other);
    EXPECT_NE(std::hash<ApplicationRecord>{}(record), std::hash<ApplicationRecord>{}(other));
    other = record;
    other.version = std::nullopt;
    EXPECT_NE(record, other);
}

TEST(ResidueConfidence, hasTwoRawValues) {
    EXPECT_EQ(rawValue(ResidueConfidence::high), "high");
    EXPECT_EQ(rawValue(ResidueConfidence::uncertain), "uncertain");
    EXPECT_EQ(fromRawValue<ResidueConfidence>("high"), ResidueConfidence::high);
    EXPECT_EQ(fromRawValue<ResidueConfidence>("uncertain"), ResidueConfidence::uncertain);
    for (const char* text : {"", "High", "low"}) EXPECT_EQ(fromRawValue<ResidueConfidence>(text), std::nullopt);
    EXPECT_EQ(std::hash<ResidueConfidence>{}(ResidueConfidence::high), Text{"high"}.hash());
    ResidueCandidate uncertain = residue("/a");
    uncertain.confidence = ResidueConfidence::uncertain;
    EXPECT_FALSE(uncertain.selectedByDefault());
}

TEST(ApplicationInspector, pruningOfNothingIsNothing) {
    EXPECT_TRUE(ApplicationInspector::pruning({}, {"/Applications"}).empty());
}

TEST(ApplicationInspector, pruningWithoutDeletedPathsChangesNothing) {
    const std::vector<ApplicationRecord> records{application("/Applications/B.app", {residue("/a")}),
                                                 application("/Applications/A.app")};
    EXPECT_EQ(ApplicationInspector::pruning(records, {}), records);
}

TEST(ApplicationInspector, pruningDropsWhatWasDeletedOrLayBeneath) {
    const std::vector<ApplicationRecord> records{application("/Applications/Foo.app"),
                                                 application("/Applications/Foo.app2"),
                                                 application("/Applications/Sub/Bar.app")};
    const auto kept = ApplicationInspector::pruning(records, {"/Applications/Foo.app", "/Applications/Sub"});
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0], records[1]);
}

TEST(ApplicationInspector, pruningKeepsARecordWithoutItsDeletedResidues) {
    const ApplicationRecord record =
        application("/Applications/Foo.app", {residue("/h/Library/Caches/foo"), residue("/h/Library/WebKit/foo"),
                                              residue("/h/Library/Caches2/foo")});
    const auto one = ApplicationInspector::pruning({record}, {"/h/Library/WebKit/foo"});
    ASSERT_EQ(one.size(), 1U);
    EXPECT_EQ(one[0].id, record.id);
    EXPECT_EQ(one[0].residues, (std::vector{record.residues[0], record.residues[2]}));
    const auto folder = ApplicationInspector::pruning({record}, {"/h/Library/Caches"});
    EXPECT_EQ(folder[0].residues, (std::vector{record.residues[1], record.residues[2]}));
    const auto all = ApplicationInspector::pruning({record}, {"/h"});
    ASSERT_EQ(all.size(), 1U);
    EXPECT_TRUE(all[0].residues.empty());
}

TEST(ApplicationInspector, pruningComparesWithASlashAfterTheDeletedPath) {
    const std::vector<ApplicationRecord> records{application("/Applications/Foo.app")};
    EXPECT_EQ(ApplicationInspector::pruning(records, {"/"}), records);
    EXPECT_EQ(ApplicationInspector::pruning(records, {"/Applications/"}), records);
    EXPECT_EQ(ApplicationInspector::pruning(records, {"/Applications/Foo"}), records);
    EXPECT_EQ(ApplicationInspector::pruning(records, {"/applications"}), records);
    EXPECT_TRUE(ApplicationInspector::pruning(records, {""}).empty());
}

}  // namespace KestrelCore
