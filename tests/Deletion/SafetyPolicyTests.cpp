#include "KestrelCore/Deletion/SafetyPolicy.hpp"

#include "Deletion/SafetyRules.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Platform/HomeDirectory.hpp"

#include "support/DiskRecord.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <filesystem>
#include <fstream>
#include <thread>

namespace KestrelCore {

namespace {

constexpr const char* neverRemoved = "Kestrel never removes a disk, Applications folder, or home-directory root.";
constexpr const char* managedByMacOS = "This location is managed by macOS and is view-only in Kestrel.";
constexpr const char* neverRemovedOnLinux = "Kestrel never removes a disk, system folder, or home-directory root.";
constexpr const char* managedByLinux = "This location is managed by Linux and is view-only in Kestrel.";
constexpr const char* protectedContent = "Trash and Time Machine content are protected from Kestrel deletion.";
constexpr const char* ownBundleRefusal = "Kestrel cannot remove itself while it is running.";

const SystemLocations linuxLocations{.managed = {"/boot", "/etc", "/run", "/var/lib"},
                                     .managedExempt = {"/run/media"},
                                     .neverRemoved = {"/home", "/tmp", "/var"},
                                     .homeFolders = {".config", ".ssh"}};

const SafetyRules& macRules() {
    static const SafetyRules rules{"/Users/anna", "/Applications/Kestrel.app", {}, macOSVocabulary()};
    return rules;
}
const SafetyRules& linuxRules() {
    static const SafetyRules rules{"/home/anna", "/opt/kestrel", linuxLocations};
    return rules;
}

struct Case {
    const char* path;
    const char* reason;  ///< null when the path is not blocked
    RiskLevel risk = RiskLevel::blocked;
};

void expectCases(const SafetyRules& rules, const std::vector<Case>& cases) {
    for (const Case& expected : cases) {
        const URL url = URL::fromPath(expected.path);
        const auto reason = rules.blockedReason(url);
        EXPECT_EQ(reason ? reason->string() : "", expected.reason != nullptr ? expected.reason : "") << expected.path;
        EXPECT_EQ(rules.risk(url), expected.risk) << expected.path;
    }
}

}  // namespace

TEST(SafetyPolicy, refusesTheRootsAsThemselvesOnly) {
    expectCases(macRules(), {{"/", neverRemoved},
                             {"/Volumes", neverRemoved},
                             {"/Applications", neverRemoved},
                             {"/Users/anna", neverRemoved},
                             {"/Users/anna/", neverRemoved},
                             {"/Users", nullptr, RiskLevel::normal},
                             {"/Users/annabel", nullptr, RiskLevel::normal},
                             {"/Volumes/Disk", nullptr, RiskLevel::normal},
                             {"/Applications/Notes.app", nullptr, RiskLevel::high},
                             {"/Applications/Notes.APP", nullptr, RiskLevel::caution},  // exactly "app"
                             {"/Applications/readme.txt", nullptr, RiskLevel::caution},
                             {"/applications", nullptr, RiskLevel::normal}});  // case counts
}

TEST(SafetyPolicy, refusesSystemTreesButNotTheirNamesakes) {
    expectCases(macRules(), {{"/System", managedByMacOS},
                             {"/System/Library/x", managedByMacOS},
                             {"/SystemFoo", nullptr, RiskLevel::normal},
                             {"/Library/Caches", managedByMacOS},
                             {"/bin/sh", managedByMacOS},
                             {"/sbin", managedByMacOS},
                             {"/usr/local/lib", managedByMacOS},
                             {"/private/tmp/x", managedByMacOS},
                             {"/dev/null", managedByMacOS},
                             {"/Network", managedByMacOS},
                             {"/libraries", nullptr, RiskLevel::normal},
                             {"/etc/passwd", nullptr, RiskLevel::normal}});  // another system's list
}

TEST(SafetyPolicy, refusesTrashAndBackupContentAnywhere) {
    expectCases(macRules(), {{"/Volumes/Disk/Backups.backupdb/Mac/x", protectedContent},
                             {"/Volumes/Disk/.Trashes/501", protectedContent},
                             {"/Volumes/Disk/.MobileBackups/x", protectedContent},
                             {"/Volumes/Disk/.Trashes", nullptr, RiskLevel::high},  // itself is only hidden
                             {"/Volumes/Disk/Backups.backupdb", nullptr, RiskLevel::normal},
                             {"/Volumes/Disk/My.Trashes/x", nullptr, RiskLevel::normal},
                             {"/Users/anna/.Trash/x", nullptr, RiskLevel::normal}});
}

TEST(SafetyPolicy, refusesTheOwnBundleButNotItsFolder) {
    expectCases(macRules(), {{"/Applications/Kestrel.app", ownBundleRefusal},
                             {"/Applications/Kestrel.app/Contents/MacOS/Kestrel", ownBundleRefusal},
                             {"/Applications/Kestrel.app.old", nullptr, RiskLevel::caution}});
    expectCases(linuxRules(), {{"/opt/kestrel", ownBundleRefusal},
                               {"/opt/kestrel/bin", ownBundleRefusal},
                               {"/opt/other", nullptr, RiskLevel::normal}});
}

TEST(SafetyPolicy, ratesWhatIsNotRefused) {
    expectCases(macRules(), {{"/Users/anna/Library/Caches/a.db", nullptr, RiskLevel::high},
                             {"/Users/anna/Library", nullptr, RiskLevel::normal},
                             {"/Users/anna/.profile", nullptr, RiskLevel::high},
                             {"/Users/anna/.hidden/seen", nullptr, RiskLevel::normal},
                             {"/Users/anna/Documents/letter.txt", nullptr, RiskLevel::normal},
                             {"/Users/anna/Projects/Tool.app", nullptr, RiskLevel::high},
                             {"/Users/Shared/x", nullptr, RiskLevel::caution},
                             {"/Users/Shared", nullptr, RiskLevel::normal},
                             {"/Users/other/Library/x", nullptr, RiskLevel::normal}});
}

TEST(SafetyPolicy, takesNameAndExtensionFromTheURLAsGiven) {
    EXPECT_EQ(macRules().risk(URL::fromPath("/Users/anna/a/.")), RiskLevel::high);  // its last component is "."
    EXPECT_EQ(macRules().risk(URL::fromPath("/Users/anna/a/x.app/..")), RiskLevel::high);
    EXPECT_EQ(macRules().risk(URL::fromPath("/Users/anna/x.app/b")), RiskLevel::normal);
}

TEST(SafetyPolicy, judgesTheCanonicalPath) {
    EXPECT_EQ(SafetyPolicy::canonicalPath(URL::fromPath("//System//Library/./x/../y/")).string(), "/System/Library/y");
    expectCases(macRules(), {{"//System", managedByMacOS},
                             {"/Users/../System//x", managedByMacOS},
                             {"///", neverRemoved},
                             {"/Users/anna/Library/..", neverRemoved},
                             {"/Volumes//Disk//.Trashes//x", protectedContent},
                             {"/..", neverRemoved}});
}

TEST(SafetyPolicy, appliesTheListsOfLinux) {
    expectCases(linuxRules(), {{"/etc", managedByLinux},
                               {"/etc/passwd", managedByLinux},
                               {"/etcetera", nullptr, RiskLevel::normal},
                               {"/var/lib/dpkg", managedByLinux},
                               {"/var/libs", nullptr, RiskLevel::normal},
                               {"/var/cache/x", nullptr, RiskLevel::normal},
                               {"/run", managedByLinux},
                               {"/run/media", managedByLinux},
                               {"/run/media/anna", nullptr, RiskLevel::normal},
                               {"/home", neverRemovedOnLinux},
                               {"/tmp", neverRemovedOnLinux},
                               {"/tmp/x", nullptr, RiskLevel::normal},
                               {"/home/anna/.config", nullptr, RiskLevel::high},
                               {"/home/anna/.config/tool/settings", nullptr, RiskLevel::high},
                               {"/home/anna/.ssh/id", nullptr, RiskLevel::high},
                               {"/home/anna/.cache/x", nullptr, RiskLevel::normal},
                               {"/usr/bin", managedByLinux}});
}

TEST(SafetyPolicy, exemptsAHomeDirectoryInsideAManagedFolder) {
    const SafetyRules rules{"/var/lib/builder", "", linuxLocations};
    expectCases(rules, {{"/var/lib/builder", neverRemovedOnLinux},
                        {"/var/lib/builder/jobs/x", nullptr, RiskLevel::normal},
                        {"/var/lib/other", managedByLinux},
                        {"/var/lib", managedByLinux}});
    const SafetyRules atTheRoot{"/", "", linuxLocations};
    expectCases(atTheRoot,
                {{"/etc/passwd", managedByLinux}, {"/Library", managedByLinux}, {"/x", nullptr, RiskLevel::normal}});
}

TEST(SafetyPolicy, knowsTheHomeDirectoryInBothSpellings) {
    const SafetyRules rules{"/Users/ren\u00e9", "", {}, macOSVocabulary()};
    expectCases(rules, {{"/Users/ren\u00e9", neverRemoved},
                        {"/Users/rene\u0301", neverRemoved},
                        {"/Users/rene", nullptr, RiskLevel::normal},
                        {"/Users/rene\u0301/Library/x", nullptr, RiskLevel::high},
                        {"/Users/rene\u0301/Documents/x", nullptr, RiskLevel::normal}});
}

TEST(SafetyPolicy, takesASlashForABoundaryBeforeACombiningMark) {
    expectCases(macRules(),
                {{"/System/\u0301x", managedByMacOS}, {"/Users/Shared/\u0301x", nullptr, RiskLevel::caution}});
}

TEST(SafetyPolicy, protectsOnlyTheExecutableWhenItsFolderHoldsTheHomeDirectory) {
    EXPECT_EQ(SafetyRules::ownBundle("/opt/tool", "/opt/tool/kestrel", "/home/anna"), Text{"/opt/tool"});
    EXPECT_EQ(SafetyRules::ownBundle("/home/anna/bin", "/home/anna/bin/kestrel", "/home/anna"), Text{"/home/anna/bin"});
    EXPECT_EQ(SafetyRules::ownBundle("/home/anna", "/home/anna/kestrel", "/home/anna"), Text{"/home/anna/kestrel"});
    EXPECT_EQ(SafetyRules::ownBundle("/home", "/home/kestrel", "/home/anna"), Text{"/home/kestrel"});
    EXPECT_EQ(SafetyRules::ownBundle("/", "/kestrel", "/home/anna"), Text{"/kestrel"});
}

TEST(SafetyPolicy, protectsThisProcess) {
    EXPECT_EQ(SafetyPolicy::blockedReason(URL::fromPath(currentHomeDirectory())), Text{neverRemovedOnLinux});
    const Text own = SafetyRules::ownBundle(mainBundlePath(), mainExecutablePath(), currentHomeDirectory());
    EXPECT_TRUE(SafetyPolicy::blockedReason(URL::fromPath(own)));
    EXPECT_EQ(SafetyPolicy::risk(URL::fromPath(own)), RiskLevel::blocked);
}

TEST(SafetyPolicy, answersOnManyThreadsAtOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([] { EXPECT_EQ(SafetyPolicy::risk(URL::fromPath("/System/x")), RiskLevel::blocked); });
    for (std::thread& thread : threads) thread.join();
}

// The gate before a removal.

namespace {

constexpr const char* symbolicLink = "The path contains a symbolic link and must be reviewed in your file manager.";
constexpr const char* missing = "The item no longer exists or cannot be inspected.";
constexpr const char* changed = "The item changed since the scan. Scan again before deleting it.";

/// The error with which validation refuses the record; empty when it lets it pass.
std::optional<KestrelError> refusal(const FileRecord& record) {
    try {
        SafetyPolicy::validate(record);
        return std::nullopt;
    } catch (const KestrelError& error) {
        return error;
    }
}

void writeFile(const std::string& path) { std::ofstream{path} << "content"; }

}  // namespace

TEST(SafetyValidation, letsTheScannedItemPass) {
    const TemporaryFolder folder;
    const std::string file = folder.path() + "/file";
    writeFile(file);
    EXPECT_EQ(refusal(diskRecord(file)), std::nullopt);
    EXPECT_EQ(refusal(diskRecord(folder.path())), std::nullopt);

    const FileRecord before = diskRecord(file);
    std::ofstream{file, std::ios::app} << "more";  // size and time are not compared
    EXPECT_EQ(refusal(before), std::nullopt);
}

TEST(SafetyValidation, refusesABlockedPathBeforeAnythingElse) {
    EXPECT_EQ(refusal(diskRecord("/usr/does-not-exist")), KestrelError::safetyViolation(managedByLinux));
    EXPECT_EQ(refusal(diskRecord("/")), KestrelError::safetyViolation(neverRemovedOnLinux));
    EXPECT_EQ(refusal(diskRecord("/Users/..//Volumes/")), KestrelError::safetyViolation(neverRemovedOnLinux));
}

TEST(SafetyValidation, refusesLinksAnywhereInThePathBeforeLookingForTheItem) {
    const TemporaryFolder folder;
    const std::string target = folder.path() + "/target";
    std::filesystem::create_directory(target);
    writeFile(target + "/file");
    std::filesystem::create_directory_symlink(target, folder.path() + "/link");
    std::filesystem::create_symlink("nowhere", folder.path() + "/dangling");

    EXPECT_EQ(refusal(diskRecord(folder.path() + "/link")), KestrelError::safetyViolation(symbolicLink));
    EXPECT_EQ(refusal(diskRecord(folder.path() + "/dangling")), KestrelError::safetyViolation(symbolicLink));
    EXPECT_EQ(refusal(diskRecord(folder.path() + "/link/file")), KestrelError::safetyViolation(symbolicLink));
    EXPECT_EQ(refusal(diskRecord(folder.path() + "/link/missing")), KestrelError::safetyViolation(symbolicLink));
    EXPECT_EQ(refusal(diskRecord(target + "/../link/file")), KestrelError::safetyViolation(symbolicLink));
}

TEST(SafetyValidation, saysThatAMissingItemIsGoneBeforeComparingIdentities) {
    const TemporaryFolder folder;
    EXPECT_EQ(refusal(diskRecord(folder.path() + "/missing")), KestrelError::staleItem(missing));
    EXPECT_EQ(refusal(diskRecord(folder.path() + "/missing/below")), KestrelError::staleItem(missing));
}

TEST(SafetyValidation, refusesAnotherIdentityOrNone) {
    const TemporaryFolder folder;
    const std::string file = folder.path() + "/file";
    writeFile(file);
    const FileRecord record = diskRecord(file);
    const FileIdentity identity = record.identity().value();
    EXPECT_EQ(refusal(withIdentity(record, std::nullopt)), KestrelError::staleItem(changed));
    EXPECT_EQ(refusal(withIdentity(record, FileIdentity{identity.device + 1, identity.inode})),
              KestrelError::staleItem(changed));
    EXPECT_EQ(refusal(withIdentity(record, FileIdentity{identity.device, identity.inode + 1})),
              KestrelError::staleItem(changed));

    writeFile(folder.path() + "/other");
    std::filesystem::rename(folder.path() + "/other", file);
    EXPECT_EQ(refusal(record), KestrelError::staleItem(changed));
}

// The fast reading of the rules against the plain one.

namespace {

const std::vector<std::string>& interestingComponents() {
    static const std::vector<std::string> components{"Users",
                                                     "anna",
                                                     "Library",
                                                     "Applications",
                                                     "Shared",
                                                     "System",
                                                     "Volumes",
                                                     "Disk",
                                                     ".Trashes",
                                                     ".Trash",
                                                     "Backups.backupdb",
                                                     ".MobileBackups",
                                                     "Kestrel.app",
                                                     "Contents",
                                                     "x.app",
                                                     "X.APP",
                                                     "a.txt",
                                                     ".hidden",
                                                     "home",
                                                     "ren\u00e9",
                                                     "rene\u0301",
                                                     "rene",
                                                     "run",
                                                     "media",
                                                     "var",
                                                     "lib",
                                                     "etc",
                                                     "tmp",
                                                     "opt",
                                                     "kestrel",
                                                     ".config",
                                                     ".\u0301x",
                                                     "\u212Aelvin",
                                                     "Kelvin",
                                                     "usr",
                                                     "dev",
                                                     "private",
                                                     "Caches",
                                                     "\u0301",
                                                     "\uAC00",
                                                     "\u1100\u1161"};
    return components;
}

RiskLevel riskByContext(const SafetyRules& rules, const std::vector<std::string>& components, std::size_t rootDepth) {
    std::string root;
    for (std::size_t i = 0; i < rootDepth; ++i) root += "/" + components[i];
    auto context = rules.root(root.empty() ? "/" : root);
    for (std::size_t i = rootDepth; i + 1 < components.size(); ++i) context = rules.child(context, components[i]);
    return rules.risk(context, components.back(), Path::extension(components.back()) == Text{"app"});
}

}  // namespace

RC_GTEST_PROP(SafetyPolicy, ratesByContextAsByText, ()) {
    const auto home =
        *rc::gen::element<std::string>("/Users/anna", "/home/ren\u00e9", "/home/rene\u0301", "/var/lib/anna",
                                       "/home/Kelvin", "/", "/run/media/anna", "/\uAC00");
    const auto bundle =
        *rc::gen::element<std::string>("/Applications/Kestrel.app", "/opt/kestrel", "/home/rene\u0301/x.app", "/", "",
                                       "/Users/anna/Library/Kestrel.app", "/home/\u212Aelvin/tmp");
    const SafetyRules rules{home, bundle, *rc::gen::arbitrary<bool>() ? linuxLocations : SystemLocations{}};

    // Half of the paths begin at a place that the rules name, in either spelling.
    std::vector<std::string> components;
    const auto start = *rc::gen::element(Text{}, Text{}, Text{home}, Text{bundle}, Text{home}.normalized(),
                                         Text{"/home/rene\u0301"}, Text{"/run/media"}, Text{"/var/lib"});
    for (const Text& component : Path::components(start))
        if (component != Text{"/"}) components.push_back(component.string());
    for (const std::string& component :
         *rc::gen::nonEmpty(rc::gen::container<std::vector<std::string>>(rc::gen::elementOf(interestingComponents()))))
        components.push_back(component);

    const auto rootDepth = *rc::gen::inRange<std::size_t>(0, components.size());
    std::string path;
    for (const std::string& component : components) path += "/" + component;
    RC_ASSERT(riskByContext(rules, components, rootDepth) == rules.risk(URL::fromPath(path)));
}

TEST(SafetyPolicy, ratesEveryShortPathByContextAsByText) {
    const auto& all = interestingComponents();
    for (const SafetyRules* rules : {&macRules(), &linuxRules()})
        for (const std::string& a : all)
            for (const std::string& b : all)
                for (const std::string& c : all) {
                    const std::string path = "/" + a + "/" + b + "/" + c;
                    ASSERT_EQ(riskByContext(*rules, {a, b, c}, 1), rules->risk(URL::fromPath(path))) << path;
                }
}

TEST(SafetyPolicy, leavesNoDoubledSlashInACanonicalPath) {
    for (const char* text :
         {"file:///a//b", "file:////", "file:///a/%2F/b", "file:///a%2F%2Fb", "file://host//a//", "//a//b", "/a/.//./b",
          "/a//../..//b", "a//b", "file:///a/%2E//%2E%2E//b", "x:a//b", "file:///%FF//a"}) {
        const auto url = URL::parse(text);
        ASSERT_TRUE(url) << text;
        EXPECT_EQ(SafetyPolicy::canonicalPath(*url).view().find("//"), std::string_view::npos) << text;
    }
}

}  // namespace KestrelCore
