#include "Platform/Linux/Processes/ProcText.hpp"

#include "support/RecordedText.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace KestrelCore {
namespace {

using Testing::recordedText;
using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr std::uint64_t largestUInt64 = std::numeric_limits<std::uint64_t>::max();

// ---- /proc/stat ----------------------------------------------------------------------------------------------------

TEST(ProcessorTicksText, mapsTheFirstLineAndLeavesStolenAndGuestTimeOut) {
    const auto ticks =
        ProcText::processorTicks("cpu  1 20 300 4000 50000 600000 7000000 80000000 9 10\ncpu0 1 1 1 1\n");
    ASSERT_TRUE(ticks.has_value());
    EXPECT_EQ(ticks->user, 1U);
    EXPECT_EQ(ticks->nice, 20U);
    EXPECT_EQ(ticks->system, 300U + 600'000U + 7'000'000U);
    EXPECT_EQ(ticks->idle, 4000U + 50'000U);
}

TEST(ProcessorTicksText, readsARecordedFile) {
    const auto ticks = ProcText::processorTicks(recordedText("proc/stat-system"));
    ASSERT_TRUE(ticks.has_value());
    EXPECT_EQ(ticks->user, 44'273U);
    EXPECT_EQ(ticks->system, 14'059U + 234U);
    EXPECT_EQ(ticks->idle, 427'567U + 2575U);
}

TEST(ProcessorTicksText, isAbsentForATextThatIsNone) {
    for (const auto text : {""sv, "cpu"sv, "cpu  1 2 3"sv, "cpu0 1 2 3 4"sv, "cpu  a b c d"sv, "cpu  1 2 3 -4"sv,
                            "\ncpu 1 2 3 4"sv, "cpu  1 2 3 99999999999999999999"sv}) {
        EXPECT_FALSE(ProcText::processorTicks(text).has_value()) << text;
    }
    EXPECT_TRUE(ProcText::processorTicks("cpu 1 2 3 4").has_value());
}

TEST(ProcessorTicksText, keepsSumsOfAbsurdCountersInRange) {
    const auto ticks = ProcText::processorTicks(
        "cpu 0 0 18446744073709551615 18446744073709551615 18446744073709551615 18446744073709551615 1");
    ASSERT_TRUE(ticks.has_value());
    EXPECT_EQ(ticks->system, largestUInt64);
    EXPECT_EQ(ticks->idle, largestUInt64);
}

// ---- /proc/meminfo -------------------------------------------------------------------------------------------------

TEST(MemoryText, countsAsUsedWhatIsNotAvailable) {
    const auto memory = ProcText::memory(recordedText("proc/meminfo-laptop"), 4096);
    ASSERT_TRUE(memory.has_value());
    EXPECT_EQ(memory->activePages, (16'233'940U - 6'120'332U) / 4);
    EXPECT_EQ(memory->inactivePages + memory->wiredPages + memory->compressorPages, 0U);
    EXPECT_EQ(memory->swapUsedBytes, (16'777'212LL - 14'220'100LL) * 1024);
}

TEST(MemoryText, tellsTheCacheAndTheSwapBesideIt) {
    const auto memory = ProcText::memory(recordedText("proc/meminfo-laptop"), 4096);
    ASSERT_TRUE(memory.has_value());
    EXPECT_EQ(memory->cacheBytes, (49'424LL + 798'752 + 1'856'348) * 1024);
    EXPECT_EQ(memory->swapTotalBytes, 16'777'212LL * 1024);
    const auto bare = ProcText::memory("MemTotal: 8 kB\nMemAvailable: 4 kB\nBuffers: 4 kB\n", 4096);
    ASSERT_TRUE(bare.has_value());
    EXPECT_EQ(bare->cacheBytes, std::nullopt);
    EXPECT_EQ(bare->swapTotalBytes, std::nullopt);
    EXPECT_EQ(ProcText::memory("MemTotal: 8\nMemAvailable: 4\nCached: 3\n", 4096)->cacheBytes, 3 * 1024);
}

TEST(MemoryText, readsAMachineWithoutSwap) {
    const auto memory = ProcText::memory(recordedText("proc/meminfo-virtual-machine"), 4096);
    ASSERT_TRUE(memory.has_value());
    EXPECT_EQ(memory->activePages, (24'731'700U - 23'245'320U) / 4);
    EXPECT_EQ(memory->swapUsedBytes, 0);
    EXPECT_EQ(memory->swapTotalBytes, 0);
}

TEST(MemoryText, sumsUpWhatAnOlderKernelTells) {
    const auto memory =
        ProcText::memory("MemTotal: 4000000 kB\nActive: 1200000 kB\nInactive: 900000 kB\n"
                         "Unevictable: 64 kB\nSlab: 100000 kB\nKernelStack: 2000 kB\nPageTables: 8000 kB\n",
                         4096);
    ASSERT_TRUE(memory.has_value());
    EXPECT_EQ(memory->activePages, 300'000U);
    EXPECT_EQ(memory->inactivePages, 225'000U);
    EXPECT_EQ(memory->wiredPages, (64U + 100'000U + 2'000U + 8'000U) / 4);
    EXPECT_EQ(memory->compressorPages, 0U);
}

TEST(MemoryText, isAbsentWithoutAnyFigureOfWhatIsUsed) {
    EXPECT_FALSE(ProcText::memory("", 4096).has_value());
    EXPECT_FALSE(ProcText::memory("MemTotal: 100 kB\n", 4096).has_value());
    EXPECT_FALSE(ProcText::memory("MemTotal: 100 kB\nMemAvailable: some kB\nActive: 4 kB\n", 4096).has_value());
    EXPECT_FALSE(ProcText::memory("Inactive: 100 kB\nActive(anon): 5 kB\n", 4096).has_value());
    EXPECT_FALSE(ProcText::memory("Active: 4 kB\nInactive: 4 kB\n", 0).has_value());
    EXPECT_FALSE(ProcText::memory("MemTotal: 8 kB\nMemAvailable: 4 kB\n", 0).has_value());
    EXPECT_TRUE(ProcText::memory("Active: 4 kB\nInactive:4", 4096).has_value());
    // Cut off before what is available, and before the second key of the other sum.
    EXPECT_FALSE(ProcText::memory(recordedText("proc/meminfo-laptop").substr(0, 70), 4096).has_value());
}

TEST(MemoryText, keepsAbsurdFiguresInRange) {
    const auto memory =
        ProcText::memory("Active: 18446744073709551615 kB\nInactive: 1 kB\nSlab: 18446744073709551615 kB\n"
                         "Unevictable: 18446744073709551615 kB\nSwapTotal: 5 kB\nSwapFree: 9 kB\n"
                         "Cached: 18446744073709551615 kB\nBuffers: 18446744073709551615 kB\n",
                         4096);
    ASSERT_TRUE(memory.has_value());
    EXPECT_EQ(memory->activePages, largestUInt64 / 4096);
    EXPECT_EQ(memory->wiredPages, largestUInt64 / 4096);
    EXPECT_EQ(memory->swapUsedBytes, 0);
    EXPECT_EQ(memory->cacheBytes, std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(ProcText::memory("Active: 1\nInactive: 1\nSwapTotal: 18446744073709551615\n", 4096)->swapUsedBytes,
              std::numeric_limits<std::int64_t>::max());
    // More available than there is: a virtual machine whose memory was just taken away.
    EXPECT_EQ(ProcText::memory("MemTotal: 8\nMemAvailable: 12\n", 4096)->activePages, 0U);
}

// ---- /proc/net/dev -------------------------------------------------------------------------------------------------

TEST(InterfacesText, readsThirtyInterfacesWith64BitCounters) {
    std::vector<InterfaceCounters> interfaces{{"left over", true, 1, 1}};
    ProcText::interfaces(recordedText("proc/net-dev-30-interfaces"), interfaces);
    ASSERT_EQ(interfaces.size(), 30U);
    EXPECT_EQ(interfaces[0].name, "lo");
    EXPECT_FALSE(interfaces[0].isLoopback);
    EXPECT_EQ(interfaces[0].receivedBytes, 987'654'321U);
    EXPECT_EQ(interfaces[1].name, "enp0s31f6");
    EXPECT_EQ(interfaces[1].receivedBytes, 18'446'744'073'709'551U);
    EXPECT_EQ(interfaces[1].sentBytes, 4'294'967'297U);
    EXPECT_EQ(interfaces[29].receivedBytes, 29'000U);
    EXPECT_EQ(interfaces[29].sentBytes, 290U);
}

TEST(InterfacesText, skipsLinesThatAreCutOff) {
    std::vector<InterfaceCounters> interfaces;
    ProcText::interfaces("eth0:1234 0 0 0 0 0 0 0 99 0 0 0 0 0 0 0\neth1: 5 0 0 0", interfaces);
    ASSERT_EQ(interfaces.size(), 1U);
    EXPECT_EQ(interfaces[0].receivedBytes, 1234U);
    EXPECT_EQ(interfaces[0].sentBytes, 99U);
    ProcText::interfaces("", interfaces);
    EXPECT_TRUE(interfaces.empty());
}

// ---- /proc/PID/… ---------------------------------------------------------------------------------------------------

TEST(ProcessStatusText, takesAnyBytesAsAName) {
    struct Case {
        const char* file;
        std::string name;
        char state;
    };
    const Case cases[] = {
        {"proc/stat-plain", "python3", 'S'},
        {"proc/stat-blanks", "two words", 'R'},
        {"proc/stat-forged-end", "a) R 1 (\n\x1b[31m", 'S'},
        {"proc/stat-parentheses", ")))(((", 'S'},
        {"proc/stat-not-utf8", "bad\xff\xfeutf8", 'R'},
        {"proc/stat-empty-name", "", 'R'},
    };
    for (const Case& c : cases) {
        const std::string text = recordedText(c.file);
        const auto status = ProcText::processStatus(text);
        ASSERT_TRUE(status.has_value()) << c.file;
        EXPECT_EQ(status->name, c.name) << c.file;
        EXPECT_EQ(status->state, c.state) << c.file;
        EXPECT_EQ(status->virtualBytes, 17'281'024) << c.file;
        EXPECT_EQ(status->priority, 20) << c.file;
        EXPECT_EQ(status->threadCount, 1) << c.file;
        EXPECT_FALSE(status->isKernelThread) << c.file;
        EXPECT_FALSE(status->isDead()) << c.file;
        EXPECT_EQ(ProcText::processState(text), c.state) << c.file;
    }
}

TEST(ProcessStatusText, readsTheFieldsThatCount) {
    const auto status =
        ProcText::processStatus("77 (x) D 1 2 3 4 5 6 7 8 9 10 11 12 -13 14 -51 16 17 18 19 20 21 22 23");
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->state, 'D');
    EXPECT_EQ(status->processorTicks, 11U + 12U);
    EXPECT_EQ(status->priority, -51);
    EXPECT_EQ(status->threadCount, 17);
    EXPECT_EQ(status->virtualBytes, 20);
}

TEST(ProcessStatusText, knowsKernelThreadsAndZombies) {
    const std::string kernelThread = recordedText("proc/stat-kernel-thread");
    EXPECT_TRUE(ProcText::processStatus(kernelThread)->isKernelThread);
    EXPECT_EQ(ProcText::processStatus(kernelThread)->name, "kthreadd");
    const std::string zombie = recordedText("proc/stat-zombie");
    EXPECT_TRUE(ProcText::processStatus(zombie)->isDead());
}

TEST(ProcessStatusText, isAbsentForEveryBeginningThatLacksAField) {
    const std::string whole = "77 (x) D 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20";
    ASSERT_TRUE(ProcText::processStatus(whole).has_value());
    for (std::size_t length = 0; length + 2 < whole.size(); ++length) {
        EXPECT_FALSE(ProcText::processStatus(std::string_view{whole}.substr(0, length)).has_value()) << length;
    }
    EXPECT_FALSE(ProcText::processStatus(")x(").has_value());
    EXPECT_FALSE(ProcText::processState("7 (x) RR 1").has_value());
}

TEST(ProcessStatusText, keepsAbsurdFiguresInRange) {
    const auto status = ProcText::processStatus(
        "1 (x) S 1 2 3 4 5 0 7 8 9 10 18446744073709551615 9 13 14 15 16 -4 18 19 18446744073709551615");
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->processorTicks, largestUInt64);
    EXPECT_EQ(status->threadCount, 0);
    EXPECT_EQ(status->virtualBytes, std::numeric_limits<std::int64_t>::max());
}

TEST(ResidentText, isTheSecondFieldInBytes) {
    EXPECT_EQ(ProcText::residentBytes("4219 2541 1200 1 0 500 0\n", 4096), 2541 * 4096);
    EXPECT_EQ(ProcText::residentBytes(recordedText("proc/statm-kernel-thread"), 4096), 0);
    EXPECT_EQ(ProcText::residentBytes("1 18446744073709551615", 4096), std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(ProcText::residentBytes("", 4096), std::nullopt);
    EXPECT_EQ(ProcText::residentBytes("12", 4096), std::nullopt);
    EXPECT_EQ(ProcText::residentBytes("12 -3", 4096), std::nullopt);
}

TEST(FullName, completesANameThatTheKernelCut) {
    struct Case {
        std::string_view name, path, commandLine, expected;
    };
    const std::string tooLong = "/opt/gnome-terminal-" + std::string(300, 'x');
    const Case cases[] = {
        {"gnome-terminal-", "/usr/libexec/gnome-terminal-server", "", "gnome-terminal-server"},
        {"gnome-terminal-", "", "/usr/libexec/gnome-terminal-server\0--flag"sv, "gnome-terminal-server"},
        {"gnome-terminal-", "/usr/bin/python3", "gnome-terminal-tool\0x"sv, "gnome-terminal-tool"},
        {"gnome-terminal-", "/usr/bin/python3", "python3\0/opt/gnome-terminal-tool"sv, "gnome-terminal-"},
        {"gnome-terminal-", "", "", "gnome-terminal-"},
        {"gnome-terminal-", tooLong, "", "gnome-terminal-"},
        {"gnome-terminal", "/usr/bin/gnome-terminal-server", "", "gnome-terminal"},  // 14 bytes: not cut
        {"", "/usr/bin/x", "x", ""},
    };
    for (const Case& c : cases) EXPECT_EQ(ProcText::fullName(c.name, c.path, c.commandLine), c.expected) << c.path;
}

TEST(ProcessIdentifierText, isAPlainNumber) {
    EXPECT_EQ(ProcText::processIdentifier("1"), 1);
    EXPECT_EQ(ProcText::processIdentifier("2147483647"), 2'147'483'647);
    for (const auto name : {""sv, "0"sv, "01"sv, "-1"sv, "+1"sv, "1x"sv, "2147483648"sv, "self"sv, " 1"sv}) {
        EXPECT_EQ(ProcText::processIdentifier(name), std::nullopt) << name;
    }
}

}  // namespace
}  // namespace KestrelCore
