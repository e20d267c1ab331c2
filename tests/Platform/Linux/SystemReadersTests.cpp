#include "Platform/Linux/SystemReaders.hpp"

#include "support/RecordedText.hpp"
#include "support/SupervisedCalls.hpp"
#include "support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;
using Testing::recordedText;

const std::string sysLaptop = KESTREL_TEST_DATA "/sys/laptop";
const std::string sysDesktop = KESTREL_TEST_DATA "/sys/desktop";

// ---- Sensors -------------------------------------------------------------------------------------------------------

TEST(PowerSources, readALaptop) {
    const auto source = powerSources(sysLaptop)->first();
    ASSERT_TRUE(source.has_value());
    EXPECT_EQ(*source->currentCapacity / *source->maximumCapacity, 0.75);
    EXPECT_EQ(source->state, PowerSourceState::mains);
}

TEST(PowerSources, areAbsentOnADesktopAndInAVirtualMachine) {
    EXPECT_FALSE(powerSources(sysDesktop)->first().has_value());
    EXPECT_FALSE(powerSources("/nowhere")->first().has_value());
}

TEST(ThermalState, readsALaptopADesktopAndAVirtualMachine) {
    EXPECT_EQ(thermalState(sysLaptop)->level(), 1);
    EXPECT_EQ(thermalState(sysDesktop)->level(), 0);
    EXPECT_EQ(thermalState("/nowhere")->level(), std::nullopt);
}

// ---- The machine ---------------------------------------------------------------------------------------------------

struct RecordedProc : testing::Test {
    TemporaryFolder folder;

    void write(const std::string& name, const std::string& text) const {
        const fs::path path = fs::path{folder.path()} / name;
        fs::create_directories(path.parent_path());
        std::ofstream{path, std::ios::binary} << text;
    }
};

TEST_F(RecordedProc, givesTicksMemoryAndInterfaces) {
    write("stat", recordedText("proc/stat-system"));
    write("meminfo", recordedText("proc/meminfo-laptop"));
    write("net/dev", recordedText("proc/net-dev-30-interfaces"));
    const auto host = hostStatistics(folder.path());
    EXPECT_EQ(host->processorTicks()->user, 44'273U);
    EXPECT_EQ(host->memory()->swapUsedBytes, (16'777'212LL - 14'220'100LL) * 1024);
    std::vector<InterfaceCounters> interfaces;
    networkInterfaces(folder.path())->list(interfaces);
    ASSERT_EQ(interfaces.size(), 30U);
    EXPECT_TRUE(interfaces[0].isLoopback);
    EXPECT_FALSE(interfaces[1].isLoopback);
}

TEST_F(RecordedProc, failsQuietlyWhenItsFilesAreMissingEmptyOrFolders) {
    std::vector<InterfaceCounters> interfaces(3);
    std::vector<std::int32_t> identifiers(3);
    for (const char* state : {"missing", "empty", "folders"}) {
        if (state == std::string{"empty"}) {
            for (const char* name : {"stat", "meminfo", "net/dev"}) write(name, "");
        } else if (state == std::string{"folders"}) {
            for (const char* name : {"stat", "meminfo", "net/dev"}) {
                fs::remove(fs::path{folder.path()} / name);
                fs::create_directories(fs::path{folder.path()} / name);
            }
        }
        EXPECT_FALSE(hostStatistics(folder.path())->processorTicks().has_value()) << state;
        EXPECT_FALSE(hostStatistics(folder.path())->memory().has_value()) << state;
        networkInterfaces(folder.path())->list(interfaces);
        EXPECT_TRUE(interfaces.empty()) << state;
        processTable(folder.path())->list(identifiers);
        EXPECT_TRUE(identifiers.empty()) << state;
    }
    processTable("/nowhere")->list(identifiers);
    EXPECT_TRUE(identifiers.empty());
}

TEST(ProcessTable, isEmptyWhenItsListingFailsHalfWay) {
    const TemporaryFolder folder;
    folder.makeFolder("1");
    std::vector<std::int32_t> identifiers;
    int pieces = 0;
    const bool isSupervised = runSupervised(
        {SYS_getdents64}, [&] { processTable(folder.path())->list(identifiers); },
        [&pieces](const SystemCall&) { return ++pieces == 1 ? std::nullopt : std::optional{EIO}; });
    if (!isSupervised) GTEST_SKIP() << "System calls can't be supervised here";
    EXPECT_TRUE(identifiers.empty());
    EXPECT_EQ(pieces, 2);
}

TEST(HostStatistics, readsALongFileWhole) {
    TemporaryFolder folder;
    fs::create_directories(folder.path() + "/net");
    std::ofstream file{folder.path() + "/net/dev"};
    for (int index = 0; index < 3000; ++index) file << "  if" << index << ": 1 0 0 0 0 0 0 0 2 0 0 0 0 0 0 0\n";
    file.close();
    std::vector<InterfaceCounters> interfaces;
    networkInterfaces(folder.path())->list(interfaces);
    EXPECT_EQ(interfaces.size(), 3000U);
}

// ---- Processes -----------------------------------------------------------------------------------------------------

struct RecordedProcess : RecordedProc {
    std::unique_ptr<ProcessInfo> info = processInfo(folder.path(), ProcessorTimeSource::ticks);

    void writeProcess(int identifier, const std::string& status, const std::string& memory) const {
        write(std::to_string(identifier) + "/stat", status);
        write(std::to_string(identifier) + "/statm", memory);
    }
    void setExecutable(int identifier, const std::string& path) const {
        fs::create_symlink(path, fs::path{folder.path()} / std::to_string(identifier) / "exe");
    }
    static std::string statusNamed(const std::string& name, char state = 'S', int threads = 1) {
        return "7 (" + name + ") " + state + " 1 1 1 0 -1 0 0 0 0 0 30 12 0 0 20 0 " + std::to_string(threads) +
               " 0 5 8192 2";
    }
};

TEST_F(RecordedProcess, isReadWhole) {
    writeProcess(7, statusNamed("tool", 'R'), "4 2 1 1 0 1 0\n");
    setExecutable(7, "/usr/bin/tool");
    const auto details = info->details(7);
    ASSERT_TRUE(details.has_value());
    EXPECT_EQ(details->name, Text{"tool"});
    EXPECT_EQ(details->executablePath, Text{"/usr/bin/tool"});
    EXPECT_EQ(details->processorTime.count(), 42U * 1'000'000'000UL / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK)));
    EXPECT_EQ(details->residentBytes, 2 * sysconf(_SC_PAGESIZE));
    EXPECT_EQ(details->virtualBytes, 8192);
    EXPECT_EQ(details->threadCount, 1);
    EXPECT_EQ(details->runningThreadCount, 1);
    EXPECT_EQ(details->priority, 20);
    EXPECT_EQ(info->executablePath(7), Text{"/usr/bin/tool"});
}

TEST_F(RecordedProcess, countsTheThreadsThatRun) {
    writeProcess(7, statusNamed("tool", 'S', 3), "4 2");
    write("7/task/7/stat", statusNamed("tool", 'S'));
    write("7/task/8/stat", statusNamed(") R (", 'S'));
    write("7/task/9/stat", statusNamed("worker", 'R'));
    fs::create_directories(fs::path{folder.path()} / "7/task/10");  // gone before it could be read
    EXPECT_EQ(info->details(7)->runningThreadCount, 1);
}

TEST_F(RecordedProcess, isLeftOutWhenItIsAZombieOrAPartIsMissing) {
    writeProcess(2, recordedText("proc/stat-zombie"), "0 0 0 0 0 0 0");
    write("3/stat", statusNamed("no memory file"));
    write("4/statm", "4 2");
    writeProcess(5, statusNamed("cut").substr(0, 30), "4 2");
    writeProcess(6, statusNamed("fine"), "");
    for (int identifier = 1; identifier <= 6; ++identifier) {
        EXPECT_FALSE(info->details(identifier).has_value()) << identifier;
    }
    EXPECT_FALSE(info->details(0).has_value());
    EXPECT_FALSE(info->details(-1).has_value());
    EXPECT_FALSE(info->executablePath(1).has_value());
}

TEST_F(RecordedProcess, hasNoSizesAndNoPathAsAKernelThread) {
    writeProcess(2, recordedText("proc/stat-kernel-thread"), recordedText("proc/statm-kernel-thread"));
    const auto details = info->details(2);
    ASSERT_TRUE(details.has_value());
    EXPECT_EQ(details->name, Text{"kthreadd"});
    EXPECT_EQ(details->executablePath, std::nullopt);
    EXPECT_EQ(details->residentBytes, 0);
    EXPECT_EQ(details->virtualBytes, 0);
}

TEST_F(RecordedProcess, hasItsNameCompletedFromThePathOrTheCommandLine) {
    writeProcess(7, statusNamed("gnome-terminal-"), "4 2");
    EXPECT_EQ(info->details(7)->name, Text{"gnome-terminal-"});
    write("7/cmdline", std::string{"/usr/libexec/gnome-terminal-server\0-x\0", 38});
    EXPECT_EQ(info->details(7)->name, Text{"gnome-terminal-server"});
    setExecutable(7, "/usr/libexec/gnome-terminal-service");
    EXPECT_EQ(info->details(7)->name, Text{"gnome-terminal-service"});
    // Two mebibytes without an end are no name.
    writeProcess(8, statusNamed("gnome-terminal-"), "4 2");
    write("8/cmdline", "gnome-terminal-" + std::string(2U << 20, 'x'));
    EXPECT_EQ(info->details(8)->name, Text{"gnome-terminal-"});
}

TEST_F(RecordedProcess, hasItsNameRepaired) {
    writeProcess(7, recordedText("proc/stat-not-utf8"), "4 2");
    EXPECT_EQ(info->details(7)->name, Text{"bad\xEF\xBF\xBD\xEF\xBF\xBDutf8"});
    writeProcess(8, recordedText("proc/stat-empty-name"), "4 2");
    EXPECT_EQ(info->details(8)->name, std::nullopt);
}

// A link as the kernel shows it after the file was removed, and files whose real names end in the same way.
TEST_F(RecordedProcess, losesTheMarkOfARemovedExecutableUnlessItIsPartOfTheName) {
    const std::string tool = folder.path() + "/tool";
    writeProcess(7, statusNamed("tool"), "4 2");
    setExecutable(7, tool + " (deleted)");
    EXPECT_EQ(info->executablePath(7), Text{tool});
    EXPECT_EQ(info->details(7)->executablePath, Text{tool});
    write("tool (deleted)", "a file that is really named so, and runs");
    EXPECT_EQ(info->executablePath(7), Text{tool + " (deleted)"});

    writeProcess(8, statusNamed("tool"), "4 2");
    setExecutable(8, tool + " (deleted) (deleted)");
    EXPECT_EQ(info->executablePath(8), Text{tool + " (deleted)"});
}

TEST(ProcessTable, listsNumbersOnly) {
    TemporaryFolder folder;
    for (const char* name : {"12", "self", "3", "0", "-4", "07", "99999999999"}) {
        fs::create_directories(fs::path{folder.path()} / name);
    }
    std::vector<std::int32_t> identifiers{1, 2, 3};
    processTable(folder.path())->list(identifiers);
    std::ranges::sort(identifiers);
    EXPECT_EQ(identifiers, (std::vector<std::int32_t>{3, 12}));
}

}  // namespace
}  // namespace KestrelCore
