#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

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

TEST(SystemSampleCoding, readsWhatItWrites) {
    SystemSample sample{.timestamp = Date{-0.125},
                        .cpuUsedFraction = 1e-9,
                        .memoryUsedBytes = -1,
                        .memoryTotalBytes = 5,
                        .swapUsedBytes = 6,
                        .memoryPressure = "A “label” / with\n signs",
                        .batteryPercent = 0.3,
                        .isCharging = false,
                        .thermalLevel = ThermalLevel::critical,
                        .networkDownBytesPerSecond = 7,
                        .networkUpBytesPerSecond = 8};
    EXPECT_EQ(SystemSample::decodingJSON(sample.encodedJSON()), sample);
    sample.batteryPercent.reset();
    sample.isCharging.reset();
    EXPECT_EQ(SystemSample::decodingJSON(sample.encodedJSON()), sample);
}

TEST(SystemSampleCoding, refusesWhatIsNoSample) {
    using Kind = DecodingError::Kind;
    const std::string sound = SystemSample{}.encodedJSON();
    const auto with = [&sound](const std::string& before, const std::string& after) {
        std::string text = sound;
        return text.replace(text.find(before), before.size(), after);
    };
    const std::pair<std::string, Kind> cases[] = {
        {with("\"swapUsedBytes\":0,", ""), Kind::keyNotFound},
        {with("\"swapUsedBytes\":0", "\"swapUsedBytes\":null"), Kind::valueNotFound},
        {with("\"swapUsedBytes\":0", "\"swapUsedBytes\":\"0\""), Kind::typeMismatch},
        {with("\"swapUsedBytes\":0", "\"swapUsedBytes\":0.5"), Kind::dataCorrupted},
        {with("\"unknown\"", "\"tepid\""), Kind::dataCorrupted},
        {with("\"swapUsedBytes\":0", "\"swapUsedBytes\":0,\"isCharging\":1"), Kind::typeMismatch},
        {sound + "x", Kind::dataCorrupted},
        {sound.substr(0, sound.size() - 1), Kind::dataCorrupted},
        {"", Kind::dataCorrupted},
    };
    for (const auto& [text, kind] : cases) {
        try {
            (void)SystemSample::decodingJSON(text);
            ADD_FAILURE() << text;
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.kind(), kind) << text;
        }
    }
    EXPECT_EQ(SystemSample::decodingJSON(with("{", "{\"later\":[1,{}],")), SystemSample{});
    EXPECT_EQ(SystemSample::decodingJSON(with("\"swapUsedBytes\":0", "\"swapUsedBytes\":1e3")).swapUsedBytes, 1000);
}

}  // namespace
}  // namespace KestrelCore
