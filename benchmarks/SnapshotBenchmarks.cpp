// What a snapshot costs beside the scan that made it: its index, its JSON form, looking around in it.

#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <benchmark/benchmark.h>

#include <fmt/format.h>

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

using namespace KestrelCore;

namespace {

constexpr std::int64_t filesInAFolder = 100;

/// `folders` folders below /home/someone, each with a hundred files.
std::vector<FileRecord> someRecords(int folders) {
    std::vector<FileRecord> records;
    const auto add = [&](const Text& path, const std::optional<Text>& parent, FileKind kind, std::int64_t bytes) {
        records.emplace_back(UUID::random(), FileIdentity{1, records.size() + 2}, parent, path,
                             Path::lastComponent(path), kind, bytes, bytes, bytes, Date{700'000'000},
                             Path::extension(path), false, false, false, RiskLevel::normal);
    };
    const Text root{"/home/someone"};
    add(root, std::nullopt, FileKind::directory, folders * filesInAFolder * 4096);
    for (int folder = 0; folder < folders; ++folder) {
        const Text path{fmt::format("/home/someone/project-{:05}", folder)};
        add(path, root, FileKind::directory, filesInAFolder * 4096);
        for (std::int64_t file = 0; file < filesInAFolder; ++file) {
            add(Text{fmt::format("{}/IMG_{:04}.jpg", path.view(), file)}, path, FileKind::file, 4096);
        }
    }
    return records;
}

ScanSnapshot aSnapshot(const std::vector<FileRecord>& records) {
    return {UUID::random(), ScanScope{URL::fromPath("/home/someone", true)}, Date{0}, Date{1}, records, {}};
}

void countRecords(benchmark::State& state, std::size_t records) {
    state.SetItemsProcessed(static_cast<std::int64_t>(records) * static_cast<std::int64_t>(state.iterations()));
}

void makeSnapshot(benchmark::State& state) {
    const auto records = someRecords(static_cast<int>(state.range(0)));
    for (auto _ : state) benchmark::DoNotOptimize(aSnapshot(records));
    countRecords(state, records.size());
}
BENCHMARK(makeSnapshot)->Arg(1000)->Unit(benchmark::kMillisecond);

void encodeSnapshot(benchmark::State& state) {
    const auto snapshot = aSnapshot(someRecords(static_cast<int>(state.range(0))));
    for (auto _ : state) benchmark::DoNotOptimize(snapshot.encodedJSON());
    countRecords(state, snapshot.records().size());
}
BENCHMARK(encodeSnapshot)->Arg(1000)->Unit(benchmark::kMillisecond);

void decodeSnapshot(benchmark::State& state) {
    const auto snapshot = aSnapshot(someRecords(static_cast<int>(state.range(0))));
    const std::string json = snapshot.encodedJSON();
    for (auto _ : state) benchmark::DoNotOptimize(ScanSnapshot::decodingJSON(json));
    countRecords(state, snapshot.records().size());
}
BENCHMARK(decodeSnapshot)->Arg(1000)->Unit(benchmark::kMillisecond);

void findRecord(benchmark::State& state) {
    const auto snapshot = aSnapshot(someRecords(1000));
    const Text path{"/home/someone/project-00500/IMG_0050.jpg"};
    for (auto _ : state) benchmark::DoNotOptimize(snapshot.record(path));
}
BENCHMARK(findRecord);

void removeOneFolder(benchmark::State& state) {
    const auto snapshot = aSnapshot(someRecords(static_cast<int>(state.range(0))));
    for (auto _ : state) benchmark::DoNotOptimize(snapshot.removing({Text{"/home/someone/project-00500"}}));
    countRecords(state, snapshot.records().size());
}
BENCHMARK(removeOneFolder)->Arg(1000)->Unit(benchmark::kMillisecond);

}  // namespace
