#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/Sensors/SensorText.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include "support/RecordedText.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

namespace KestrelCore {
namespace {

using Testing::recordedText;

TEST(SystemSensors, readTheTemperaturesOfALaptop) {
    const auto temperatures = systemSensors("/nowhere", KESTREL_TEST_DATA "/sys/laptop")->temperatures();
    ASSERT_EQ(temperatures.size(), 2U);
    EXPECT_EQ(temperatures[0].name, "coretemp Package id 0");
    EXPECT_EQ(temperatures[0].celsius, 47);
    EXPECT_EQ(temperatures[1].name, "nvme");
    EXPECT_EQ(temperatures[1].celsius, 38.85);
}

TEST(SystemSensors, takeTheZonesWhereNoDriverTells) {
    EXPECT_EQ(systemSensors("/nowhere", KESTREL_TEST_DATA "/sys/desktop")->temperatures().size(), 1U);
    const auto nothing = systemSensors("/nowhere", "/nowhere");
    EXPECT_TRUE(nothing->temperatures().empty());
    EXPECT_TRUE(nothing->processors().empty());
    EXPECT_FALSE(nothing->stalls().has_value());
}

TEST(SensorText, readsPressure) {
    EXPECT_EQ(SensorText::stallPercent(recordedText("proc/pressure-io")), 12.34);
    for (const char* text : {"", "full avg10=1.00", "some", "some avg10=", "some avg10=x", "some avg10=101.0",
                             "some avg10=-1", "some avg60=1.0", "some avg10=nan"}) {
        EXPECT_FALSE(SensorText::stallPercent(text).has_value()) << text;
    }
}

TEST(SensorText, takesNoTemperatureThatIsNone) {
    EXPECT_EQ(SensorText::celsius("-5000\n"), -5);
    for (const char* text : {"", "x", "-300000", "2000000", "9223372036854775808"}) {
        EXPECT_FALSE(SensorText::celsius(text).has_value()) << text;
    }
    EXPECT_EQ(SensorText::sensorName("", ""), "sensor");
    EXPECT_EQ(SensorText::sensorName("", "Tctl\n"), "Tctl");
}

TEST(ProcText, readsEachProcessorAndTheStart) {
    const std::string_view text = "cpu  9 9 9 9\ncpu0 1 20 300 4000 50 6 7\ncpu1 2 2 2 2\ncpufreq 1 1 1 1\ncpu2 1 1\n"
                                  "intr 5\nbtime 1763800000\n";
    const auto each = ProcText::eachProcessorTicks(text);
    ASSERT_EQ(each.size(), 2U);
    EXPECT_EQ(each[0].system, 313U);
    EXPECT_EQ(each[0].idle, 4050U);
    EXPECT_EQ(ProcText::bootTime(text), 1'763'800'000U);
    EXPECT_FALSE(ProcText::bootTime("cpu 1 2 3 4\n").has_value());
}

TEST(ProcText, readsWhoseAProcessIsAndWhatItMoved) {
    EXPECT_EQ(ProcText::effectiveUser(recordedText("proc/status-service")), 113U);
    EXPECT_FALSE(ProcText::effectiveUser("Name:\tx\nUid:\t0\n").has_value());
    const auto traffic = ProcText::traffic(recordedText("proc/io-plain"));
    ASSERT_TRUE(traffic.has_value());
    EXPECT_EQ(traffic->readBytes, 4096U);
    EXPECT_EQ(traffic->writtenBytes, 323'932'160U);
    EXPECT_FALSE(ProcText::traffic("read_bytes: 4\n").has_value());
}

TEST(ProcText, joinsTheArguments) {
    using namespace std::string_view_literals;
    EXPECT_EQ(ProcText::commandLine("ls\0-l\0/tmp\0"sv), "ls -l /tmp");
    EXPECT_EQ(ProcText::commandLine("nginx: worker process\0\0\0\0   "sv), "nginx: worker process");
    EXPECT_EQ(ProcText::commandLine("no end"sv), "no end");
    EXPECT_EQ(ProcText::commandLine("\0\0"sv), "");
}

TEST(ProcText, readsParentAndStart) {
    const auto status = ProcText::processStatus(recordedText("proc/stat-plain"));
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->parentIdentifier, 12590);
    EXPECT_EQ(status->startTicks, 244'814U);
}

TEST(ProcessDescriptions, describeThisProcess) {
    const auto descriptions = ProcessDescriptions::system();
    const auto facts = descriptions->facts(getpid());
    ASSERT_TRUE(facts.has_value());
    EXPECT_EQ(facts->parentIdentifier, getppid());
    EXPECT_TRUE(facts->user.has_value());
    ASSERT_TRUE(facts->commandLine.has_value());
    EXPECT_TRUE(facts->commandLine->contains("kestrel-tests"));
    EXPECT_GT(facts->startedSince1970.value_or(0), 1e9);
    EXPECT_FALSE(facts->isKernelThread);
    EXPECT_FALSE(facts->isFrozen);
    for (const std::int32_t identifier : {0, -1}) EXPECT_FALSE(descriptions->facts(identifier).has_value());
}

}  // namespace
}  // namespace KestrelCore
