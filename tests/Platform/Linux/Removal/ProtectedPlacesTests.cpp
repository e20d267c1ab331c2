#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/DeletionPlan.hpp"
#include "KestrelCore/Platform/FileManager.hpp"
#include "Platform/HomeDirectory.hpp"
#include "Platform/POSIX/Removal/PlacesOnDisk.hpp"
#include "support/ChildProcess.hpp"
#include "support/DiskRecord.hpp"
#include "support/EnvironmentSetting.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <pwd.h>
#include <sys/mount.h>
#include <sys/syscall.h>

// What holds a home directory, a trash, the program or the host's own files, reached in every way that a system offers.

namespace KestrelCore {

namespace fs = std::filesystem;

namespace {

constexpr const char* homeMessage = "Kestrel never removes a disk, system folder, or home-directory root.";
constexpr const char* trashMessage = "Trash and Time Machine content are protected from Kestrel deletion.";
constexpr const char* programMessage = "Kestrel cannot remove itself while it is running.";

/// The reason for which the plan refuses the item; empty when it does not.
Text reason(const std::string& path, const std::vector<ProtectedPlace>& places = {}) {
    return DeletionPlan{places}.refusal(diskRecord(path)).value_or(Text{});
}

/// The item is refused for this reason by the plan, and by both ways to remove it, and stays.
void expectRefused(const std::string& path, const char* message, const std::vector<ProtectedPlace>& places = {}) {
    EXPECT_EQ(reason(path, places), Text{message}) << path;
    DeletionCoordinator coordinator{FileManager::standard(), places};
    for (const DeletionMode mode : {DeletionMode::trash, DeletionMode::permanent}) {
        const DeletionItemResult result = coordinator.execute({{diskRecord(path)}, mode, "DELETE"}).front();
        EXPECT_EQ(result.message, Text{message}) << path;
        EXPECT_EQ(result.errorCase, KestrelError::Case::safetyViolation) << path;
    }
    EXPECT_TRUE(fs::exists(path)) << path;
}

bool bindMount(const std::string& from, const std::string& to) {
    return ::mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0;
}

class ProtectedPlaces : public testing::Test {
protected:
    TemporaryFolder folder;
    EnvironmentSetting dataHome{"XDG_DATA_HOME", (folder / "elsewhere").c_str()};
};

}  // namespace

TEST_F(ProtectedPlaces, refusesWhatHoldsTheHomeDirectory) {
    folder.makeFolder("homes/u");
    folder.makeFolder("homes/v");
    const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "homes/u").c_str()};
    expectRefused(folder / "homes", homeMessage);
    expectRefused(folder / "homes/u", homeMessage);
    EXPECT_EQ(reason(folder / "homes/v"), Text{});
    EXPECT_EQ(reason(folder.makeFile("homes/u/a")), Text{});
}

TEST_F(ProtectedPlaces, refusesWhatHoldsTheHomeOfTheShell) {
    folder.makeFolder("homes/u");
    const EnvironmentSetting home{"HOME", (folder / "homes/u").c_str()};
    expectRefused(folder / "homes", homeMessage);
}

TEST_F(ProtectedPlaces, refusesATrashThatIsNotTheOneInUse) {
    const std::string item = folder.makeFile("homes/u/.local/share/Trash/files/a");
    const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "homes/u").c_str()};
    for (const char* path : {"homes/u/.local", "homes/u/.local/share/Trash", "homes/u/.local/share/Trash/files/a"})
        expectRefused(folder / path, trashMessage);
    fs::remove_all(folder / "homes/u/.local/share/Trash");
    EXPECT_EQ(reason(folder / "homes/u/.local"), Text{});
}

TEST(ProtectedPlacesOfThisProcess, refusesWhatHoldsTheRunningProgram) {
    const fs::path executable = fs::read_symlink("/proc/self/exe");
    EXPECT_EQ(reason(executable.parent_path().parent_path()), Text{programMessage});
}

TEST(ProtectedPlacesOfThisProcess, knowTheHomeOfWhoBecameRoot) {
    const passwd* entry = ::getpwuid(1);
    if (entry == nullptr) GTEST_SKIP() << "There is no user 1";
    const std::string home = entry->pw_dir;
    const auto isKnown = [&] {
        const std::vector<std::string> homes = knownHomeDirectories();
        return std::find(homes.begin(), homes.end(), home) != homes.end();
    };
    for (const char* variable : {"SUDO_UID", "PKEXEC_UID"}) {
        EXPECT_FALSE(isKnown());
        const EnvironmentSetting user{variable, "1"};
        EXPECT_TRUE(isKnown()) << variable;
    }
    for (const char* text : {"x", "1x", "-1", "99999999999999999999", " 1"}) {
        const EnvironmentSetting user{"SUDO_UID", text};
        EXPECT_FALSE(isKnown()) << text;
    }
}

TEST_F(ProtectedPlaces, refusesWhatHoldsTheHomeOfAnotherUser) {
    folder.makeFolder("people/bob");
    const std::string users =
        folder.makeFile("users", "root:x:0:0::/root:/bin/sh\nbob:x:4242:4242::" + (folder / "people/bob") +
                                     ":/bin/sh\ndaemon:x:7:7::" + (folder / "service") + ":/bin/sh\n");
    folder.makeFolder("service");
    inChild(ChildSetting::mountNamespace, [&] {
        if (!bindMount(users, "/etc/passwd")) GTEST_SKIP() << std::strerror(errno);
        expectRefused(folder / "people", homeMessage);
        expectRefused(folder / "people/bob", homeMessage);
        EXPECT_EQ(reason(folder / "service"), Text{});
    });
}

TEST_F(ProtectedPlaces, refusesWhatHoldsTheHomeBehindLinks) {
    folder.makeFolder("real/disk/u");
    folder.makeFolder("names");
    fs::create_directory_symlink("../real/disk", folder / "names/homes");
    const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "names/homes/u").c_str()};
    for (const char* path : {"real", "real/disk", "real/disk/u", "names"}) expectRefused(folder / path, homeMessage);
}

TEST_F(ProtectedPlaces, refusesWhatHoldsTheHomeUnderABindMount) {
    for (const char* name : {"data/homes/u/.local", "data/homes/v", "view/homes"}) folder.makeFolder(name);
    inChild(ChildSetting::mountNamespace, [&] {
        if (!bindMount(folder / "data/homes", folder / "view/homes")) GTEST_SKIP() << std::strerror(errno);
        const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "view/homes/u").c_str()};
        const EnvironmentSetting noDataHome{"XDG_DATA_HOME", nullptr};
        for (const char* path : {"data", "data/homes", "data/homes/u"}) expectRefused(folder / path, homeMessage);
        // The trash does not exist yet.
        expectRefused(folder / "data/homes/u/.local", trashMessage);
        EXPECT_EQ(reason(folder / "data/homes/v"), Text{});
    });
}

TEST_F(ProtectedPlaces, refusesWhatHoldsAMountPointOnTheWayToTheHome) {
    for (const char* name : {"disk/view/homes", "data/homes/u", "view"}) folder.makeFolder(name);
    inChild(ChildSetting::mountNamespace, [&] {
        if (!bindMount(folder / "disk/view", folder / "view")) GTEST_SKIP() << std::strerror(errno);
        ASSERT_TRUE(bindMount(folder / "data/homes", folder / "view/homes")) << std::strerror(errno);
        const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "view/homes/u").c_str()};
        for (const char* path : {"disk", "disk/view", "data"}) expectRefused(folder / path, homeMessage);
    });
}

TEST_F(ProtectedPlaces, refusesTheLayersOfTheHome) {
    folder.makeFolder("disk");
    inChild(ChildSetting::mountNamespace, [&] {
        // Layers can't lie on an overlay themselves.
        if (::mount("none", (folder / "disk").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << std::strerror(errno);
        for (const char* name : {"low/homes/u", "low/other", "up", "work", "merged"})
            folder.makeFolder("disk/" + std::string{name});
        const std::string options = "lowerdir=" + (folder / "disk/low") + ",upperdir=" + (folder / "disk/up") +
                                    ",workdir=" + (folder / "disk/work");
        if (::mount("overlay", (folder / "disk/merged").c_str(), "overlay", 0, options.c_str()) != 0)
            GTEST_SKIP() << std::strerror(errno);
        const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "disk/merged/homes/u").c_str()};
        for (const char* path : {"merged/homes", "low", "low/homes", "low/homes/u", "up"})
            expectRefused(folder / ("disk/" + std::string{path}), homeMessage);
        EXPECT_EQ(reason(folder / "disk/low/other"), Text{});
    });
    inChild(ChildSetting::mountNamespace, [&] {
        // The other way round: what is removed from the overlay goes from its upper layer.
        if (::mount("none", (folder / "disk").c_str(), "tmpfs", 0, nullptr) != 0) GTEST_SKIP() << std::strerror(errno);
        for (const char* name : {"low", "up/homes/u", "work", "merged"}) folder.makeFolder("disk/" + std::string{name});
        const std::string options = "lowerdir=" + (folder / "disk/low") + ",upperdir=" + (folder / "disk/up") +
                                    ",workdir=" + (folder / "disk/work");
        if (::mount("overlay", (folder / "disk/merged").c_str(), "overlay", 0, options.c_str()) != 0)
            GTEST_SKIP() << std::strerror(errno);
        const EnvironmentSetting home{"CFFIXED_USER_HOME", (folder / "disk/up/homes/u").c_str()};
        expectRefused(folder / "disk/merged/homes", homeMessage);
    });
}

TEST_F(ProtectedPlaces, refusesTheTrashOfAVolumeThatIsMountedElsewhereToo) {
    folder.makeFile("data/sub/.Trash-4242/files/a");
    folder.makeFolder("data/other/.Trash-4242");
    folder.makeFolder("volume");
    inChild(ChildSetting::mountNamespace, [&] {
        if (!bindMount(folder / "data/sub", folder / "volume")) GTEST_SKIP() << std::strerror(errno);
        for (const char* path : {"data", "data/sub", "data/sub/.Trash-4242", "data/sub/.Trash-4242/files/a"})
            expectRefused(folder / path, trashMessage);
        EXPECT_EQ(reason(folder / "data/other"), Text{});
        EXPECT_EQ(reason(folder.makeFile("data/sub/.Trash-file")), Text{});
    });
}

TEST_F(ProtectedPlaces, refusesWhatTheHostNames) {
    const std::string database = folder.makeFile("data/app/history.sqlite");
    folder.makeFile("data/app/other");
    folder.makeFolder("view");
    const std::vector<ProtectedPlace> places{{folder / "view/history.sqlite", "The history is there."},
                                             {folder / "view/receipts", "The receipts are there."}};
    inChild(ChildSetting::mountNamespace, [&] {
        if (!bindMount(folder / "data/app", folder / "view")) GTEST_SKIP() << std::strerror(errno);
        for (const char* path : {"data", "data/app", "data/app/history.sqlite"})
            expectRefused(folder / path, "The history is there.", places);
        // It was not there when the plan was made.
        folder.makeFile("data/app/receipts/1");
        for (const char* path : {"data/app/receipts", "data/app/receipts/1"})
            expectRefused(folder / path, "The receipts are there.", places);
        EXPECT_EQ(reason(folder / "data/app/other", places), Text{});
    });
    EXPECT_EQ(reason(folder / "data"), Text{}) << "Without the host's places";
}

TEST_F(ProtectedPlaces, asksOnceAboutEachFolderOnTheWays) {
    folder.makeFolder("a/b");
    std::vector<GuardedPlace> places;
    for (int i = 0; i < 20; ++i) places.push_back({.path = folder / ("a/b/" + std::to_string(i))});
    std::map<std::string, int> asked;
    const bool isSupervised = runSupervised(
        {SYS_statx, SYS_openat, SYS_newfstatat}, [&] { const PlacesOnDisk lookedUp{places}; },
        [&](const SystemCall& call) -> std::optional<int> {
            ++asked[call.text(1)];
            return std::nullopt;
        });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    asked.erase("");  // asks about what is open already
    for (const auto& [path, times] : asked) EXPECT_EQ(times, 1) << path;
    EXPECT_EQ(asked.count(folder / "a/b/19"), 1U);
}

}  // namespace KestrelCore
