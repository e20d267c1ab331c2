#include "Platform/Traversal.hpp"

#include "support/ChildProcess.hpp"
#include "support/FtsTraversal.hpp"
#include "support/RandomTree.hpp"
#include "support/SystemCallFilter.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/TraversalListing.hpp"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

using Kind = TraversalEntry::Kind;
using Lines = std::vector<std::string>;

#ifdef KESTREL_SANITIZED
constexpr std::size_t deepLevels = 1'000;
constexpr std::size_t wideEntries = 50'000;
#else
constexpr std::size_t deepLevels = 10'000;
constexpr std::size_t wideEntries = 1'000'000;
#endif

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all{"/proc/self/fd"};
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

/// Makes a chain of folders, each in the one before, all called `name`. With `side`, each folder also holds a folder of
/// that name with a file in it.
void makeChain(const std::string& top, const std::string& name, std::size_t levels, const char* side = nullptr) {
    int folder = open(top.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    for (std::size_t level = 0; level < levels; ++level) {
        if (side != nullptr) {
            ASSERT_EQ(mkdirat(folder, side, 0755), 0);
            const int inner = openat(folder, side, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
            ASSERT_EQ(mknodat(inner, "file", S_IFREG | 0644, 0), 0);
            close(inner);
        }
        ASSERT_EQ(mkdirat(folder, name.c_str(), 0755), 0);
        const int next = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        ASSERT_GE(next, 0);
        close(folder);
        folder = next;
    }
    close(folder);
}

struct Counts {
    std::size_t directories = 0;
    std::size_t ends = 0;
    std::size_t items = 0;
    std::size_t issues = 0;
    std::size_t deepest = 0;
    std::size_t mostDescriptors = 0;
    int lastError = 0;
};

Counts count(const std::string& root) {
    Counts counts;
    const std::size_t before = openDescriptors();
    const auto traversal = openTraversal({root, {}, {}});
    for (std::size_t index = 0; const TraversalEntry* entry = traversal->next(); ++index) {
        switch (entry->kind) {
        case Kind::directory: ++counts.directories; break;
        case Kind::directoryEnd: ++counts.ends; break;
        case Kind::item: ++counts.items; break;
        default: ++counts.issues; counts.lastError = entry->errorNumber;
        }
        counts.deepest = std::max<std::size_t>(counts.deepest, entry->level);
        if (index % 256 == 0) counts.mostDescriptors = std::max(counts.mostDescriptors, openDescriptors() - before);
    }
    EXPECT_EQ(traversal->errorNumber(), 0);
    return counts;
}

/// Opens descriptors until there are only `left` more to be had.
void leaveDescriptors(std::size_t left) {
    std::vector<int> taken;
    for (int next = 0; (next = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) taken.push_back(next);
    while (left-- > 0 && !taken.empty()) {
        close(taken.back());
        taken.pop_back();
    }
}

void limitDescriptors(rlim_t limit) {
    const rlimit both{limit, limit};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &both), 0);
}

/// The walk is as it was with descriptors enough, or says that it lacked some.
void expectSameOrIssue(const std::string& root, const Lines& expected) {
    const Lines found = listing(openTraversal({root, {}, {}}));
    const std::string lack = " " + std::to_string(EMFILE);
    const bool hasIssue = std::any_of(found.begin(), found.end(), [&](const auto& line) {
        return line.find("unreadable") == line.find(' ') + 1 && line.ends_with(lack);
    });
    if (!hasIssue) {
        EXPECT_EQ(found, expected);
    }
}

}  // namespace

TEST(TraversalLimits, goesDownVeryDeepTreesWithFewDescriptors) {
    const TemporaryFolder folder{roomyTemporaryFolder()};
    makeChain(folder.path(), "d", deepLevels);
    const Counts counts = count(folder.path());
    EXPECT_EQ(counts.directories, deepLevels + 1);
    EXPECT_EQ(counts.ends, deepLevels + 1);
    EXPECT_EQ(counts.issues, 0U);
    EXPECT_EQ(counts.deepest, deepLevels);
    EXPECT_LT(counts.mostDescriptors, 64U);
}

TEST(TraversalLimits, findsItsWayBackUpThroughFoldersThatItHadToClose) {
    for (const char* side : {"a", "z"}) {
        const TemporaryFolder folder{roomyTemporaryFolder()};
        makeChain(folder.path(), "d", deepLevels / 2, side);
        const Counts counts = count(folder.path());
        EXPECT_EQ(counts.directories, deepLevels + 1);
        EXPECT_EQ(counts.ends, deepLevels + 1);
        EXPECT_EQ(counts.items, deepLevels / 2);
        EXPECT_EQ(counts.issues, 0U);
        EXPECT_LT(counts.mostDescriptors, 64U);
    }
}

TEST(TraversalLimits, entersPathsLongerThanTheSystemTakes) {
    const TemporaryFolder folder;
    makeChain(folder.path(), std::string(200, 'x'), 30, "side");
    const Counts counts = count(folder.path());
    EXPECT_EQ(counts.directories, 61U);
    EXPECT_EQ(counts.items, 30U);
    EXPECT_EQ(counts.issues, 0U);
}

TEST(TraversalLimits, stopsAtPathsOfMoreThanAMebibyte) {
    const TemporaryFolder folder{roomyTemporaryFolder()};
    const std::size_t fitting = (longestTraversedPath - folder.path().size()) / 251;
    makeChain(folder.path(), std::string(250, 'x'), fitting + 3);
    const Counts counts = count(folder.path());
    EXPECT_EQ(counts.directories, fitting + 2);  // with the root, and the one that is not entered
    EXPECT_EQ(counts.deepest, fitting + 1);
    EXPECT_EQ(counts.ends, fitting + 1);
    EXPECT_EQ(counts.issues, 1U);
    EXPECT_EQ(counts.lastError, ENAMETOOLONG);
}

TEST(TraversalLimits, givesAVeryLargeFolderInTheOrderOfItsListing) {
    const TemporaryFolder folder{roomyTemporaryFolder()};
    folder.makeFile("original");
    const int descriptor = open(folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    std::size_t expected = 1;
    std::string source = "original";
    for (std::size_t index = 0; index < wideEntries; ++index, ++expected) {
        const std::string name = std::to_string(index);
        if (linkat(descriptor, source.c_str(), descriptor, name.c_str(), 0) == 0) continue;
        ASSERT_EQ(errno, EMLINK);  // some file systems allow few links
        source = name;
        ASSERT_EQ(mknodat(descriptor, name.c_str(), S_IFREG | 0644, 0), 0);
    }
    DIR* listed = fdopendir(descriptor);
    const auto traversal = openTraversal({folder.path(), {}, {}});
    ASSERT_NE(traversal->next(), nullptr);
    std::size_t found = 0;
    for (const TraversalEntry* entry = traversal->next(); entry->kind == Kind::item; entry = traversal->next()) {
        const dirent* name = readdir(listed);
        while (name != nullptr && (name->d_name == std::string_view{"."} || name->d_name == std::string_view{".."})) {
            name = readdir(listed);
        }
        ASSERT_NE(name, nullptr);
        ASSERT_EQ(entry->name, name->d_name);
        ++found;
    }
    EXPECT_EQ(found, expected);
    EXPECT_EQ(traversal->next(), nullptr);
    closedir(listed);
}

TEST(TraversalLimits, givesFoldersOfALargeFolderBetweenItsPieces) {
    // More entries than one piece, on more levels than can stay half-read.
    const TemporaryFolder folder{roomyTemporaryFolder()};
    std::string path = folder.path();
    for (int level = 0; level < 14; ++level) {
        for (int index = 0; index < 1'700; ++index) {
            const std::string made = path + "/" + std::to_string(index);
            ASSERT_EQ(index % 200 == 0 ? mkdir(made.c_str(), 0755) : mknod(made.c_str(), S_IFREG | 0644, 0), 0);
        }
        path += "/" + std::to_string(level % 2 * 1'600);
    }
    EXPECT_EQ(firstDifference(listing(openTraversal({folder.path(), {}, {}})),
                              listing(openFtsTraversal({folder.path(), {}, {}}))),
              "");
    EXPECT_LT(count(folder.path()).mostDescriptors, 64U);
    EXPECT_EQ(firstDifference(listing(openTraversal({folder.path(), {}, {}}), {"1600", "200"}),
                              listing(openFtsTraversal({folder.path(), {}, {}}), {"1600", "200"})),
              "");
}

TEST(TraversalLimits, worksWithSixteenDescriptors) {
    inChild(ChildSetting::same, [] {
        const TemporaryFolder folder{roomyTemporaryFolder()};
        makeRandomTree(folder.path(), 3);
        makeChain(folder.path(), "d", 60, "z");
        const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
        limitDescriptors(16);
        EXPECT_EQ(firstDifference(listing(openTraversal({folder.path(), {}, {}})), expected), "");
    });
}

TEST(TraversalLimits, neverLosesAnythingSilentlyWhenDescriptorsRunOut) {
    for (const rlim_t limit : {rlim_t{16}, rlim_t{256}}) {
        for (std::size_t left = 0; left < 12; ++left) {
            SCOPED_TRACE(left);
            const TemporaryFolder folder{roomyTemporaryFolder()};
            makeRandomTree(folder.path(), static_cast<std::uint32_t>(left));
            makeChain(folder.path(), "d", 40, "z");
            const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
            inChild(ChildSetting::same, [&] {
                limitDescriptors(limit);
                leaveDescriptors(left);
                expectSameOrIssue(folder.path(), expected);
                // Three are enough: where to start, the step before, the step after.
                if (left >= 3) {
                    EXPECT_EQ(firstDifference(listing(openTraversal({folder.path(), {}, {}})), expected), "");
                }
            });
        }
    }
}

TEST(TraversalLimits, doesNotEnterMounts) {
    inChild(ChildSetting::mountNamespace, [] {
        const TemporaryFolder folder;
        folder.makeFile("source/file");
        const std::string volume = folder.makeFolder("tree/volume");
        const std::string bound = folder.makeFolder("tree/bound");
        const std::string cycle = folder.makeFolder("tree/cycle/inner");
        const std::string boundFile = folder.makeFile("tree/file", "x");
        ASSERT_EQ(mount("none", volume.c_str(), "tmpfs", 0, "size=1m"), 0);
        folder.makeFile("tree/volume/hidden");
        ASSERT_EQ(mount((folder / "source").c_str(), bound.c_str(), nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(mount((folder / "tree/cycle").c_str(), cycle.c_str(), nullptr, MS_BIND, nullptr), 0);
        ASSERT_EQ(mount((folder / "source/file").c_str(), boundFile.c_str(), nullptr, MS_BIND, nullptr), 0);
        const Lines found = briefListing(openTraversal({folder / "tree", {}, {}}));
        const std::set<std::string> expected = {"0 directory " + folder / "tree",
                                                "1 directory volume",
                                                "1 end volume",
                                                "1 directory bound",
                                                "1 end bound",
                                                "1 directory cycle",
                                                "2 directory inner",
                                                "2 end inner",
                                                "1 end cycle",
                                                "1 item file",
                                                "0 end " + folder / "tree"};
        EXPECT_EQ(std::set<std::string>(found.begin(), found.end()), expected);
        EXPECT_EQ(found.size(), expected.size());
        // A mount that is the root itself is walked.
        EXPECT_EQ(briefListing(openTraversal({volume, {}, {}})),
                  (Lines{"0 directory " + volume, "1 item hidden", "0 end " + volume}));
        for (const std::string& mounted : {boundFile, cycle, bound, volume}) EXPECT_EQ(umount(mounted.c_str()), 0);
    });
}

TEST(TraversalLimits, doesWithoutStatx) {
    inChild(ChildSetting::same, [] {
        const TemporaryFolder folder{roomyTemporaryFolder()};
        makeRandomTree(folder.path(), 5);
        const Lines expected = listing(openFtsTraversal({folder.path(), {}, {}}));
        if (!refuseSystemCalls({SYS_statx}, ENOSYS)) {
            GTEST_SKIP() << "No system call filters here";
        }
        EXPECT_EQ(firstDifference(listing(openTraversal({folder.path(), {}, {}})), expected), "");
    });
}

TEST(TraversalLimits, endsAFolderThatListsWithoutEnd) {
    const TemporaryFolder folder;
    constexpr std::size_t files = 5'000;  // several pieces
    for (std::size_t index = 0; index < files; ++index) folder.makeFile("large/" + std::to_string(index));
    folder.makeFile("small/file");
    TraversalOptions options{.root = folder.path(), .notEntered = {}, .cancellation = {}};
    const Lines complete = briefListing(openTraversal(options));
    for (const std::size_t most : {std::size_t{2}, std::size_t{1'700}, std::size_t{4'999}}) {
        SCOPED_TRACE(most);
        options.mostEntriesInFolder = most;
        const Lines found = briefListing(openTraversal(options));
        EXPECT_EQ(found.size(), complete.size() - (files - most));
        EXPECT_EQ(std::count(found.begin(), found.end(), "1 unreadable large " + std::to_string(EOVERFLOW)), 1);
        EXPECT_EQ(std::count(found.begin(), found.end(), "1 end small"), 1);
    }
    options.mostEntriesInFolder = files;
    EXPECT_EQ(firstDifference(briefListing(openTraversal(options)), complete), "");
}

TEST(TraversalLimits, endsAWalkThatGoesOnWithoutEnd) {
    const TemporaryFolder folder{roomyTemporaryFolder()};
    makeRandomTree(folder.path(), 11);
    for (int index = 0; index < 2'000; ++index) folder.makeFile("large/" + std::to_string(index));
    const auto isEnd = [](const std::string& line) {
        return line.find(" end ") != std::string::npos || line.find(" unreadable ") != std::string::npos;
    };
    TraversalOptions options{.root = folder.path(), .notEntered = {}, .cancellation = {}};
    const Lines complete = briefListing(openTraversal(options));
    const auto entries =
        complete.size() - static_cast<std::size_t>(std::count_if(complete.begin(), complete.end(), isEnd));
    for (std::size_t most = 1; most < entries; most += 1 + most / 4) {
        SCOPED_TRACE(most);
        options.mostEntries = most;
        const Lines found = briefListing(openTraversal(options));
        std::size_t same = 0;
        std::size_t given = 0;
        while (given < most || isEnd(complete[same])) {
            ASSERT_EQ(found[same], complete[same]);
            if (!isEnd(complete[same++])) ++given;
        }
        // All that follows are ends: early ones, and those of folders that held nothing more.
        EXPECT_EQ(std::count_if(found.begin(), found.end(), isEnd), std::ssize(found) - std::ssize(Lines(most)));
        EXPECT_EQ(found.back(), "0 unreadable " + folder.path() + " " + std::to_string(EOVERFLOW));
    }
    options.mostEntries = entries;
    EXPECT_EQ(firstDifference(briefListing(openTraversal(options)), complete), "");
}

TEST(TraversalLimits, endsWhereOpeningOrListingIsInterruptedForEver) {
    for (const long call : {SYS_openat, SYS_getdents64}) {
        inChild(ChildSetting::same, [call] {
            const TemporaryFolder folder;
            folder.makeFile("file");
            if (!refuseSystemCalls({call}, EINTR)) GTEST_SKIP() << "No system call filters here";
            EXPECT_EQ(briefListing(openTraversal({folder.path(), {}, {}})),
                      (Lines{"0 directory " + folder.path(), "0 unreadable " + folder.path() + " 4"}));
        });
    }
}

TEST(TraversalLimits, endsInAFileSystemWhoseEntriesComeAndGo) {
    const std::string root = "/proc/" + std::to_string(getpid());
    if (access(root.c_str(), R_OK) != 0) GTEST_SKIP() << "No process file system here";
    const Counts counts = count(root);
    EXPECT_GT(counts.directories, 1U);
    EXPECT_GT(counts.items, 10U);
}

}  // namespace KestrelCore
