#include "KestrelCore/Model/CodingError.hpp"
#include "KestrelCore/SystemMetrics.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace KestrelCore {
namespace {

TEST(SystemSampleCoding, writesTheFieldsInTheirOrder) {
    const SystemSample sample{.timestamp = Date{700'000'000.25},
                              .cpuUsedFraction = 0.5,
                              .memoryUsedBytes = 1,
                              .memoryTotalBytes = 9'223'372'036'854'775'807,
                              .swapUsedBytes = 0,
                              .memoryPressure = "Normal",
                              .batteryPercent = 1,
                              .isCharging = true,
                              .thermalLevel = ThermalLevel::nominal,
                              .networkDownBytesPerSecond = 7,
                              .networkUpBytesPerSecond = 8};
    EXPECT_EQ(
        sample.encodedJSON(),
        R"({"timestamp":700000000.25,"cpuUsedFraction":0.5,"memoryUsedBytes":1,)"
        R"("memoryTotalBytes":9223372036854775807,"swapUsedBytes":0,"memoryPressure":"Normal","batteryPercent":1,)"
        R"("isCharging":true,"thermalLevel":"nominal","networkDownBytesPerSecond":7,"networkUpBytesPerSecond":8})");
}

TEST(SystemSampleCoding, leavesAbsentValuesOut) {
    EXPECT_EQ(SystemSample{}.encodedJSON(),
              R"({"timestamp":0,"cpuUsedFraction":0,"memoryUsedBytes":0,"memoryTotalBytes":0,"swapUsedBytes":0,)"
              R"("memoryPressure":"","thermalLevel":"unknown","networkDownBytesPerSecond":0,)"
              R"("networkUpBytesPerSecond":0})");
}

TEST(SystemSampleCoding, hasNoFormForWhatIsNoNumber) {
    SystemSample sample;
    sample.batteryPercent = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THROW((void)sample.encodedJSON(), EncodingError);
}

}  // namespace
}  // namespace KestrelCore
