#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <benchmark/benchmark.h>

#include <simdjson.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <vector>

// The store beside what its libraries alone would take for the same payload: SQLite for one value of that size, and the
// same read in pieces plus one look at each field by simdjson. KESTREL_BENCH_RECORDS sets how many records there are.

namespace KestrelCore {
namespace {

std::size_t recordCount() {
    const char* text = std::getenv("KESTREL_BENCH_RECORDS");
    return text == nullptr ? 1'000'000 : std::strtoul(text, nullptr, 10);
}

/// A home folder as a scan would give it: folders of some ten items, paths of some 90 bytes, listed folder by folder.
ScanSnapshot makeSnapshot() {
    static constexpr const char* extensions[]{"jpg", "txt", "pdf", "h", "o", "mp4", "json", "html", "png", "docx"};
    static constexpr const char* words[]{"invoice", "holiday", "meeting-notes", "IMG_2031", "module", "test-results",
                                         "draft",   "report",  "archive",       "index",    "main",   "sample data"};
    const std::size_t count = recordCount();
    std::mt19937_64 random{1};
    auto storage = std::make_shared<RecordStorage>();
    std::vector<std::pair<std::string, int>> open{{"/home/someone", 0}};
    const auto word = [&] {
        return std::string{words[random() % std::size(words)]} + " " + std::to_string(random() % 10'000);
    };
    const auto fill = [&](RecordStorage::Row& row, bool isFolder, std::uint32_t extension, std::size_t number) {
        const auto logicalBytes = static_cast<std::int64_t>(random() >> (30 + random() % 30));
        const std::int64_t allocatedBytes = (logicalBytes + 4095) / 4096 * 4096;
        storage->fill(
            row, {.id = UUID::random(),
                  .identity = FileIdentity{.device = 16777234, .inode = 12'345'678 + number * 3},
                  .kind = isFolder ? FileKind::directory : FileKind::file,
                  .logicalBytes = logicalBytes,
                  .allocatedBytes = allocatedBytes,
                  .aggregateAllocatedBytes = allocatedBytes,
                  .modifiedAt = Date::fromFileTime(1'600'000'000 + static_cast<std::int64_t>(random() % 100'000'000),
                                                   static_cast<std::int64_t>(random() % 1'000'000'000)),
                  .extension = extension});
    };
    fill(storage->append(std::nullopt, "/home/someone", "someone"), true, 0, 0);
    while (storage->size() < count) {
        if (open.empty()) open.emplace_back("/home/someone/more " + std::to_string(storage->size()), 1);
        const auto [folder, depth] = open.back();
        open.pop_back();
        const std::size_t items = 4 + random() % 14;
        for (std::size_t i = 0; i < items && storage->size() < count; ++i) {
            const bool isFolder = depth < 7 && random() % 6 == 0;
            const std::string extension = isFolder ? "" : extensions[random() % std::size(extensions)];
            const std::string name = word() + (isFolder ? "" : "." + extension);
            const std::string path = folder + "/" + name;
            RecordStorage::Row& row = storage->append(folder, path, name);
            fill(row, isFolder, storage->internExtension(extension), storage->size());
            if (isFolder) open.emplace_back(path, depth + 1);
        }
    }
    storage->finishBuilding();
    return SnapshotAccess::make(UUID::random(), ScanScope{URL::fromPath("/home/someone", true)}, Date{700'000'000},
                                Date{700'000'010}, std::move(storage), {});
}

const ScanSnapshot& snapshot() {
    static const ScanSnapshot made = makeSnapshot();
    return made;
}

/// A folder on the disk for the databases of one benchmark.
class BenchFolder {
public:
    BenchFolder() : path_{(std::filesystem::temp_directory_path() / "kestrel-bench-XXXXXX").string()} {
        if (mkdtemp(path_.data()) == nullptr) std::abort();
    }
    ~BenchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    [[nodiscard]] std::string file() const { return path_ + "/snapshots.sqlite"; }
    [[nodiscard]] URL url() const { return URL::fromPath(file()); }

private:
    std::string path_;
};

/// The most memory in use since the last call of `reset`, where the system tells (Linux).
class PeakMemory {
public:
    static void reset() { std::ofstream{"/proc/self/clear_refs"} << "5"; }
    static double mebibytes(const char* key) {
        std::ifstream status{"/proc/self/status"};
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with(key))
                return std::strtod(line.c_str() + std::char_traits<char>::length(key), nullptr) / 1024;
        }
        return 0;
    }
};

/// Around the timed calls: how far memory rose above what was in use before them.
template <typename Work>
void measureMemory(benchmark::State& state, Work work) {
    PeakMemory::reset();
    const double before = PeakMemory::mebibytes("VmRSS:");
    work();
    state.counters["MiB above"] = PeakMemory::mebibytes("VmHWM:") - before;
    state.counters["records"] = static_cast<double>(snapshot().records().size());
}

void storeSave(benchmark::State& state) {
    BenchFolder folder;
    SQLiteSnapshotStore store{folder.url()};
    (void)snapshot();
    measureMemory(state, [&] {
        for (auto _ : state) store.replace(snapshot());
    });
}
BENCHMARK(storeSave)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void runOrAbort(sqlite3* database, const char* statement) {
    if (sqlite3_exec(database, statement, nullptr, nullptr, nullptr) != SQLITE_OK) std::abort();
}

/// SQLite alone: the same text, made beforehand, into pages of the same size by the same statements.
void sqliteSave(benchmark::State& state) {
    BenchFolder folder;
    const std::string payload = snapshot().encodedJSON();
    sqlite3* database = nullptr;
    if (sqlite3_open(folder.file().c_str(), &database) != SQLITE_OK) std::abort();
    runOrAbort(database,
               "PRAGMA page_size=65536; PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
               "CREATE TABLE snapshots (id TEXT PRIMARY KEY, completed_at REAL NOT NULL, payload BLOB NOT NULL);");
    for (auto _ : state) {
        runOrAbort(database, "BEGIN IMMEDIATE; DELETE FROM snapshots;");
        sqlite3_stmt* insert = nullptr;
        sqlite3_prepare_v2(database, "INSERT INTO snapshots VALUES ('x', 1, ?);", -1, &insert, nullptr);
        sqlite3_bind_blob64(insert, 1, payload.data(), payload.size(), SQLITE_STATIC);
        if (sqlite3_step(insert) != SQLITE_DONE) std::abort();
        sqlite3_finalize(insert);
        runOrAbort(database, "COMMIT;");
        runOrAbort(database, "PRAGMA wal_checkpoint(TRUNCATE);");
    }
    state.counters["MB"] = static_cast<double>(payload.size()) / 1e6;
    sqlite3_close(database);
}
BENCHMARK(sqliteSave)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void storeLoad(benchmark::State& state) {
    BenchFolder folder;
    SQLiteSnapshotStore store{folder.url()};
    store.replace(snapshot());
    for (auto _ : state) {
        auto loaded = store.loadLatest();
        benchmark::DoNotOptimize(loaded);
    }
}
BENCHMARK(storeLoad)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

/// The libraries alone, on one thread: the value read in pieces into a small buffer, and each field of each record
/// looked at once.
void librariesLoad(benchmark::State& state) {
    BenchFolder folder;
    { SQLiteSnapshotStore{folder.url()}.replace(snapshot()); }
    sqlite3* database = nullptr;
    if (sqlite3_open(folder.file().c_str(), &database) != SQLITE_OK) std::abort();
    constexpr std::size_t pieceSize = std::size_t{1} << 20;
    constexpr std::string_view between = "},{\"id\":";
    for (auto _ : state) {
        sqlite3_blob* blob = nullptr;
        if (sqlite3_blob_open(database, "main", "snapshots", "payload", 1, 0, &blob) != SQLITE_OK) std::abort();
        const auto size = static_cast<std::size_t>(sqlite3_blob_bytes(blob));
        simdjson::ondemand::parser parser;
        std::string window;
        std::size_t seen = 0;
        for (std::size_t at = 0; at < size; at += pieceSize) {
            const std::size_t length = std::min(pieceSize, size - at);
            const std::size_t kept = window.size();
            window.reserve(kept + length + simdjson::SIMDJSON_PADDING + 1);
            window.resize(kept + length);
            sqlite3_blob_read(blob, window.data() + kept, static_cast<int>(length), static_cast<int>(at));
            std::size_t first = at == 0 ? window.find("\"records\":[") + 10 : 0;
            const std::size_t last = at + length == size ? window.rfind("],\"issues\"") : window.rfind(between) + 1;
            window[first] = '[';
            const char behind = std::exchange(window[last], ']');
            auto document = parser.iterate(window.data() + first, last + 1 - first, window.capacity() - first);
            for (auto element : document.get_array()) {
                for (auto field : element.get_object()) {
                    benchmark::DoNotOptimize(field.unescaped_key().value_unsafe());
                    auto value = field.value();
                    switch (value.type().value_unsafe()) {
                    case simdjson::ondemand::json_type::string: seen += value.get_string().value_unsafe().size(); break;
                    case simdjson::ondemand::json_type::number:
                        seen += static_cast<std::size_t>(value.get_double().value_unsafe() > 0);
                        break;
                    default: break;
                    }
                }
            }
            window[last] = behind;
            window.erase(0, last);
        }
        benchmark::DoNotOptimize(seen);
        sqlite3_blob_close(blob);
    }
    sqlite3_close(database);
}
BENCHMARK(librariesLoad)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(5);

void mediaIndex(benchmark::State& state) {
    (void)snapshot();
    for (auto _ : state) benchmark::DoNotOptimize(MediaLibraryIndexer::makeIndex(snapshot(), "/home/someone"));
}
BENCHMARK(mediaIndex)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void documentIndex(benchmark::State& state) {
    (void)snapshot();
    for (auto _ : state) benchmark::DoNotOptimize(DocumentLibraryIndexer::makeIndex(snapshot(), "/home/someone"));
}
BENCHMARK(documentIndex)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

void typedSearch(benchmark::State& state) {
    benchmark::DoNotOptimize(snapshot().search(SearchQuery{"index"}, 1));  // builds the index
    for (auto _ : state) benchmark::DoNotOptimize(snapshot().search(SearchQuery{"holiday 12"}, 1000));
}
BENCHMARK(typedSearch)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(10);

void recordAtPath(benchmark::State& state) {
    std::vector<Text> paths;
    for (std::size_t i = 0; i < snapshot().records().size(); i += 997) paths.push_back(snapshot().records()[i].path());
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(snapshot().record(paths[next++ % paths.size()]));
}
BENCHMARK(recordAtPath);

void childrenOfFolder(benchmark::State& state) {
    std::vector<Text> folders;
    for (std::size_t i = 0; i < snapshot().records().size(); i += 997) {
        folders.push_back(snapshot().records()[i].parentPath().value_or("/home/someone"));
    }
    std::size_t next = 0;
    for (auto _ : state) benchmark::DoNotOptimize(snapshot().children(folders[next++ % folders.size()]));
}
BENCHMARK(childrenOfFolder);

}  // namespace
}  // namespace KestrelCore
