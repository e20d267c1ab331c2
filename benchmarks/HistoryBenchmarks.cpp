#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "KestrelCore/Snapshot/ScanEvent.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/TreeOrder.hpp"
#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/SnapshotRows.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <variant>
#include <vector>

// Adding to a history: a scan of the folder that KESTREL_BENCH_TREE names (/usr without it) as a full generation, and
// as the difference to another, where 1 % of the items have changed, 0.5 % are gone and 0.7 % are new. Then the two are
// compared, and files are taken out of the later one.

namespace KestrelCore {
namespace {

ScanSnapshot scanned() {
    const char* folder = std::getenv("KESTREL_BENCH_TREE");
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(folder == nullptr ? "/usr" : folder, true)});
    std::optional<ScanSnapshot> snapshot;
    while (auto event = events.next()) {
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) snapshot = std::move(completed->snapshot);
    }
    if (!snapshot) std::abort();
    return std::move(*snapshot);
}

/// Gives every folder what lies in it now.
void sumUp(RecordStorage& storage, const TreeOrder& order) {
    const auto& folders = order.folders();
    std::vector<std::int64_t> content(folders.size(), 0);
    for (std::size_t i = folders.size(); i-- > 0;) {
        for (std::uint32_t k = folders[i].firstFile; k < folders[i].firstFile + folders[i].files; ++k) {
            const RecordStorage::Row& row = storage.row(order.files()[k]);
            content[i] += row.isHardLinkDuplicate ? 0 : row.allocatedBytes;
        }
        std::int64_t bytes = content[i];
        if (folders[i].row != TreeOrder::none) {
            RecordStorage::Row& row = storage.row(folders[i].row);
            bytes += row.allocatedBytes;
            row.aggregateAllocatedBytes = bytes;
        }
        if (folders[i].parent != TreeOrder::none) content[folders[i].parent] += bytes;
    }
    for (const std::uint32_t irregular : order.irregular()) {
        RecordStorage::Row& row = storage.row(irregular);
        const std::uint32_t folder = order.folderAt(storage.irregular(row).path.view());
        if (folder != TreeOrder::none) row.aggregateAllocatedBytes = row.allocatedBytes + content[folder];
    }
}

/// The scan without the files for which `isLeftOut`, after `change` has seen the others' rows.
ScanSnapshot variant(const ScanSnapshot& scan, const std::function<bool(std::size_t)>& isLeftOut,
                     const std::function<void(RecordStorage::Row&)>& change) {
    const RecordStorage& whole = SnapshotAccess::storage(scan);
    const auto storage = whole.copy([&](std::size_t i) { return whole.row(i).isContainer() || !isLeftOut(i); });
    for (std::size_t i = 0; i < storage->size(); ++i) {
        if (!storage->row(i).isContainer()) change(storage->row(i));
    }
    const TreeOrder order{*storage};
    sumUp(*storage, order);
    storage->deriveIdentifiers(UUID::random(), order.places());
    return SnapshotAccess::make(UUID::random(), scan.scope(), scan.startedAt(), scan.completedAt(), storage,
                                scan.issues());
}

struct Scans {
    ScanSnapshot first;
    ScanSnapshot second;
};

const Scans& scans() {
    static const Scans made = [] {
        const ScanSnapshot scan = scanned();
        // What happens to a record depends on its position alone.
        const auto fate = [](std::size_t i) {
            const std::uint64_t mixed = (i + 1) * 0x9E3779B97F4A7C15;
            return ((mixed ^ mixed >> 32) * 0xD6E8FEB86659FD93 >> 32) % 1000;
        };
        std::mt19937_64 random{7};
        return Scans{.first = variant(
                         scan, [&](std::size_t i) { return fate(i) < 7; }, [](RecordStorage::Row&) {}),
                     .second = variant(
                         scan, [&](std::size_t i) { return fate(i) >= 995; },
                         [&](RecordStorage::Row& row) {
                             if (random() % 100 != 0) return;
                             row.logicalBytes = static_cast<std::int64_t>(random() % 1'000'000);
                             row.allocatedBytes = (row.logicalBytes + 4095) / 4096 * 4096;
                             row.aggregateAllocatedBytes = row.allocatedBytes;
                             row.modifiedAt += static_cast<double>(random() % 10'000'000) / 4;
                         })};
    }();
    return made;
}

/// A folder on the disk for the history of one benchmark.
class HistoryFolder {
public:
    HistoryFolder() : path_{(std::filesystem::temp_directory_path() / "kestrel-bench-XXXXXX").string()} {
        if (mkdtemp(path_.data()) == nullptr) std::abort();
    }
    ~HistoryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    [[nodiscard]] URL url() const { return URL::fromPath(path_ + "/history.sqlite"); }

private:
    std::string path_;
};

void tellSizes(benchmark::State& state, const Generation& generation) {
    const auto records = static_cast<double>(generation.records);
    state.counters["records"] = records;
    state.counters["bytes each"] = static_cast<double>(generation.storedBytes) / records;
}

// What adding consists of: putting the records in order, making rows of them, packing the rows, writing.

void historyOrder(benchmark::State& state) {
    const RecordStorage& storage = SnapshotAccess::storage(scans().first);
    for (auto _ : state) benchmark::DoNotOptimize(TreeOrder{storage}.files().size());
}
BENCHMARK(historyOrder)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(5);

void historyRows(benchmark::State& state) {
    const RecordStorage& storage = SnapshotAccess::storage(scans().first);
    for (auto _ : state) {
        const SnapshotRows rows{storage, {}, {}};
        benchmark::DoNotOptimize(rows.isInScanOrder());
    }
}
BENCHMARK(historyRows)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(5);

void historyPack(benchmark::State& state) {
    const SnapshotRows rows{SnapshotAccess::storage(scans().first), {}, {}};
    std::size_t bytes = 0;
    const ColumnSink sink = [&bytes](const ColumnKey&, std::string&& packed) { bytes += packed.size(); };
    for (auto _ : state) benchmark::DoNotOptimize(writeFull(rows, 1, sink));
    benchmark::DoNotOptimize(bytes);
}
BENCHMARK(historyPack)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(5);

void historyAddFull(benchmark::State& state) {
    const ScanSnapshot& scan = scans().first;
    for (auto _ : state) {
        state.PauseTiming();
        auto folder = std::make_unique<HistoryFolder>();
        SnapshotHistory history{folder->url()};
        state.ResumeTiming();
        const Generation generation = history.add(scan);
        state.PauseTiming();
        tellSizes(state, generation);
        folder.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(historyAddFull)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(5);

void historyAddDifference(benchmark::State& state) {
    const auto& [first, second] = scans();
    for (auto _ : state) {
        state.PauseTiming();
        auto folder = std::make_unique<HistoryFolder>();
        SnapshotHistory history{folder->url()};
        (void)history.add(first);
        state.ResumeTiming();
        const Generation generation = history.add(second);
        state.PauseTiming();
        if (!generation.isDifference) std::abort();
        tellSizes(state, generation);
        folder.reset();
        state.ResumeTiming();
    }
}
BENCHMARK(historyAddDifference)->Unit(benchmark::kMillisecond)->UseRealTime()->MeasureProcessCPUTime()->Iterations(5);

/// Between two generations of which the later is kept as the difference to the other, or (0) each as a full one.
void historyGrowth(benchmark::State& state) {
    const auto& [first, second] = scans();
    const bool isDifference = state.range(0) != 0;
    HistoryFolder folder;
    SnapshotHistory history{folder.url()};
    // A snapshot without derived identifiers is kept whole.
    const auto add = [&](const ScanSnapshot& scan) {
        return history.add(isDifference ? scan : ScanSnapshot::decodingJSON(scan.encodedJSON())).number;
    };
    const std::int64_t before = add(first);
    const std::int64_t until = add(second);
    std::size_t changes = 0;
    for (auto _ : state) {
        const auto growth = SnapshotHistory{folder.url()}.growth(before, until, std::nullopt, {.most = 20});
        changes = growth.value().changes.size();
    }
    state.counters["changes"] = static_cast<double>(changes);
}
BENCHMARK(historyGrowth)
    ->Arg(1)
    ->Arg(0)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(20);

/// Some files more each time, each removal in the place of the one before.
void historyRemoving(benchmark::State& state) {
    const ScanSnapshot& scan = scans().second;
    HistoryFolder folder;
    SnapshotHistory history{folder.url()};
    (void)history.add(scans().first);
    std::int64_t number = history.add(scan).number;
    std::mt19937_64 random{3};
    std::int64_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<Text> paths;
        while (paths.size() < static_cast<std::size_t>(state.range(0))) {
            const FileRecord record = scan.records()[random() % scan.records().size()];
            if (!record.isContainer()) paths.push_back(record.path());
        }
        state.ResumeTiming();
        const auto left = SnapshotHistory{folder.url()}.removing(number, paths);
        if (!left) continue;  // all of them were gone already
        number = left->number;
        bytes = left->storedBytes;
    }
    state.counters["stored bytes"] = static_cast<double>(bytes);
}
BENCHMARK(historyRemoving)
    ->Arg(1)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MeasureProcessCPUTime()
    ->Iterations(20);

// Reading: a full generation, and the last of a chain of differences to it.

constexpr std::int64_t fullOne = 1;
constexpr std::size_t chainLength = 10;

/// A history that stays for all benchmarks of reading. Each generation after the first has lost 0.5 %, has 0.5 % that
/// the one before had not, and 1 % that is changed.
class ReadFolder {
public:
    ReadFolder() : history_{folder_.url()} {
        const ScanSnapshot& scan = scans().first;
        (void)history_.add(scan);
        std::mt19937_64 random{9};
        for (std::size_t i = 1; i <= chainLength; ++i) {
            const auto fate = [&](std::size_t k) { return (k * 0x9E3779B97F4A7C15 >> 40) % 1000; };
            last_ = history_
                        .add(variant(
                            scan, [&](std::size_t k) { return fate(k) / 5 == i; },
                            [&](RecordStorage::Row& row) {
                                if (random() % 100 == 0) row.modifiedAt += static_cast<double>(random() % 1'000'000);
                            }))
                        .number;
        }
        // Where reading has most to do: what holds most right inside.
        const RecordStorage& storage = SnapshotAccess::storage(scan);
        std::vector<std::size_t> inside(storage.folders().size());
        for (std::size_t i = 0; i < storage.size(); ++i) {
            const RecordStorage::Row& row = storage.row(i);
            if (!row.isIrregular) ++inside[row.folder];
        }
        const auto fullest = std::ranges::max_element(inside) - inside.begin();
        fullest_ = storage.folderPath(static_cast<RecordStorage::FolderIndex>(fullest));
        file_ = scan.records()[storage.size() / 2].path();
    }

    [[nodiscard]] const SnapshotHistory& history() const { return history_; }
    /// The first generation, or the last one of the chain.
    [[nodiscard]] std::int64_t number(benchmark::State& state) const { return state.range(0) == 0 ? fullOne : last_; }
    [[nodiscard]] const Text& fullest() const { return fullest_; }
    [[nodiscard]] const Text& file() const { return file_; }
    [[nodiscard]] static Text root() { return scans().first.scope().root.path(); }

private:
    HistoryFolder folder_;
    SnapshotHistory history_;
    std::int64_t last_ = fullOne;
    Text fullest_;
    Text file_;
};

const ReadFolder& readFolder() {
    static const ReadFolder made;
    return made;
}

void historyLoad(benchmark::State& state) {
    const ReadFolder& folder = readFolder();
    for (auto _ : state) benchmark::DoNotOptimize(folder.history().load(folder.number(state)));
}

void historyChildrenOfRoot(benchmark::State& state) {
    const ReadFolder& folder = readFolder();
    for (auto _ : state) {
        benchmark::DoNotOptimize(folder.history().children(folder.number(state), ReadFolder::root()));
    }
}

void historyChildrenOfFullest(benchmark::State& state) {
    const ReadFolder& folder = readFolder();
    std::size_t count = 0;
    for (auto _ : state) {
        const auto children = folder.history().children(folder.number(state), folder.fullest());
        count = children.size();
    }
    state.counters["children"] = static_cast<double>(count);
}

void historyRecord(benchmark::State& state) {
    const ReadFolder& folder = readFolder();
    for (auto _ : state) benchmark::DoNotOptimize(folder.history().record(folder.number(state), folder.file()));
}

void historyNewest(benchmark::State& state) {
    const ReadFolder& folder = readFolder();
    for (auto _ : state) benchmark::DoNotOptimize(folder.history().newest(folder.file()));
}
BENCHMARK(historyNewest)->Unit(benchmark::kMillisecond)->UseRealTime();

#define READING(name)                                                                                                  \
    BENCHMARK(name)                                                                                                    \
        ->ArgName("chain")                                                                                             \
        ->Arg(0)                                                                                                       \
        ->Arg(1)                                                                                                       \
        ->Unit(benchmark::kMillisecond)                                                                                \
        ->UseRealTime()                                                                                                \
        ->MeasureProcessCPUTime()
READING(historyLoad)->Iterations(5);
READING(historyChildrenOfRoot);
READING(historyChildrenOfFullest);
READING(historyRecord);

}  // namespace
}  // namespace KestrelCore
