#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Metrics/StorageMetrics.hpp"

#include "support/MonitoringFakes.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace KestrelCore {
namespace {

using namespace std::chrono_literals;
using Testing::ManualClock;

/// Volumes and disks that a test changes between samples.
struct Machine {
    std::vector<MountedVolume> volumes;
    std::vector<DiskCounters> disks;

    struct Fake final : Volumes {
        explicit Fake(std::shared_ptr<Machine> machine) : machine{std::move(machine)} {}
        std::vector<MountedVolume> mounted() override { return machine->volumes; }
        std::vector<DiskCounters> disks() override { return machine->disks; }
        std::shared_ptr<Machine> machine;
    };
};

struct StorageSamplerTest : testing::Test {
    std::shared_ptr<Machine> machine = std::make_shared<Machine>();
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    StorageSampler sampler = SamplerAccess::sampler(StorageSources{
        .volumes = std::make_unique<Machine::Fake>(machine), .clock = clock, .wallClock = [] { return Date{5}; }});
};

TEST_F(StorageSamplerTest, hasRatesFromTheSecondReadingOn) {
    machine->disks = {{.name = "sda", .isWhole = true, .readBytes = 1000, .writtenBytes = 10},
                      {.name = "sda1", .readBytes = 600, .writtenBytes = 10}};
    machine->volumes = {
        {.mountPoint = "/", .counters = "sda1", .totalBytes = 100, .freeBytes = 40, .availableBytes = 35},
        {.mountPoint = "/data", .totalBytes = 10, .freeBytes = 10, .availableBytes = 10}};
    StorageSample sample = sampler.sample();
    EXPECT_EQ(sample.timestamp, Date{5});
    ASSERT_EQ(sample.volumes.size(), 2U);
    EXPECT_EQ(sample.volumes[0].usedBytes, 60);
    EXPECT_EQ(sample.volumes[0].freeBytes, 35);
    EXPECT_EQ(sample.volumes[0].readBytesPerSecond, 0);
    EXPECT_FALSE(sample.volumes[1].readBytesPerSecond.has_value());

    machine->disks[0].readBytes += 4000;
    machine->disks[1].writtenBytes += 500;
    clock->advance(2s);
    sample = sampler.sample();
    EXPECT_EQ(sample.disks, (std::vector<DiskSample>{{.name = "sda", .readBytesPerSecond = 2000}}));
    EXPECT_EQ(sample.volumes[0].writtenBytesPerSecond, 250);
}

TEST_F(StorageSamplerTest, takesNoStepBackwardsForARate) {
    machine->disks = {{.name = "sda", .isWhole = true, .readBytes = 5000}};
    (void)sampler.sample();
    for (const std::uint64_t counter : {std::uint64_t{10}, std::numeric_limits<std::uint64_t>::max()}) {
        machine->disks[0].readBytes = counter;
        clock->advance(1s);
        EXPECT_EQ(sampler.sample().disks[0].readBytesPerSecond, 0) << counter;
    }
    // Taken out, and back with more on its counter.
    machine->disks.clear();
    EXPECT_TRUE(sampler.sample().disks.empty());
    machine->disks = {{.name = "sda", .isWhole = true, .readBytes = 900'000}};
    clock->advance(1s);
    EXPECT_EQ(sampler.sample().disks[0].readBytesPerSecond, 0);
}

TEST_F(StorageSamplerTest, bringsWhatAVolumeClaimsWithinItsSize) {
    machine->volumes = {{.totalBytes = 100, .freeBytes = 500, .availableBytes = 900},
                        {.totalBytes = -5, .freeBytes = -7, .availableBytes = 1}};
    const StorageSample sample = sampler.sample();
    EXPECT_EQ(sample.volumes[0].usedBytes, 0);
    EXPECT_EQ(sample.volumes[0].freeBytes, 100);
    EXPECT_EQ(sample.volumes[1].totalBytes, 0);
    EXPECT_EQ(sample.volumes[1].freeBytes, 0);
}

TEST(StorageSampler, streamsThisMachine) {
    StorageSampler sampler;
    auto samples = sampler.stream(1ms);
    const auto sample = samples.next();
    ASSERT_TRUE(sample.has_value());
    EXPECT_EQ(StorageSample::decodingJSON(sample->encodedJSON()), *sample);
}

TEST(StorageSampleCoding, writesTheFieldsInTheirOrderAndReadsThem) {
    const StorageSample sample{.timestamp = Date{1.5},
                               .volumes = {{.mountPoint = "/",
                                            .fileSystem = "ext4",
                                            .device = "/dev/sda1",
                                            .totalBytes = 3,
                                            .usedBytes = 2,
                                            .freeBytes = 1,
                                            .readBytesPerSecond = 4,
                                            .writtenBytesPerSecond = 5},
                                           {.mountPoint = "/b “c”"}},
                               .disks = {{.name = "sda", .readBytesPerSecond = 6, .writtenBytesPerSecond = 7}}};
    const std::string json = sample.encodedJSON();
    EXPECT_EQ(json,
              R"({"timestamp":1.5,"volumes":[{"mountPoint":"\/","fileSystem":"ext4","device":"\/dev\/sda1",)"
              R"("totalBytes":3,"usedBytes":2,"freeBytes":1,"readBytesPerSecond":4,"writtenBytesPerSecond":5},)"
              R"({"mountPoint":"\/b “c”","fileSystem":"","device":"","totalBytes":0,"usedBytes":0,"freeBytes":0}],)"
              R"("disks":[{"name":"sda","readBytesPerSecond":6,"writtenBytesPerSecond":7}]})");
    EXPECT_EQ(StorageSample::decodingJSON(json), sample);
    EXPECT_THROW((void)StorageSample{.timestamp = Date{std::nan("")}}.encodedJSON(), EncodingError);
}

TEST(StorageSampleCoding, refusesWhatIsNoSample) {
    for (const char* json :
         {"", "{}", "[]", R"({"timestamp":1,"volumes":[]})", R"({"timestamp":1,"volumes":{},"disks":[]})",
          R"({"timestamp":1,"volumes":[1],"disks":[]})", R"({"timestamp":1,"volumes":[{}],"disks":[]})",
          R"({"timestamp":"1","volumes":[],"disks":[]})", R"({"timestamp":1,"volumes":[],"disks":[]}x)",
          R"({"timestamp":1,"volumes":[],"disks":[{"name":"a","readBytesPerSecond":1}]})"}) {
        EXPECT_THROW((void)StorageSample::decodingJSON(json), DecodingError) << json;
    }
    const auto sample =
        StorageSample::decodingJSON(R"({"more":[1],"timestamp":1,"volumes":[],"disks":[],"disks":[1]})");
    EXPECT_EQ(sample.timestamp, Date{1});
}

}  // namespace
}  // namespace KestrelCore
