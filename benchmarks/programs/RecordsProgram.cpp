// Adds up all records of a scan through C and through C++, five times in turn, and shows the medians of processor time:
//     kestrel-bench-records FOLDER
#include <kestrel/kestrel.h>

#include "KestrelCore/KestrelCore.hpp"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

using namespace KestrelCore;

namespace {

std::optional<ScanSnapshot> scanned(const char* folder) {
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(folder, true)}, ScanOptions::everything());
    while (auto event = events.next()) {
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) return std::move(completed->snapshot);
    }
    return std::nullopt;
}

std::int64_t sumThroughC(const kestrel_records* records) {
    std::int64_t sum = 0;
    kestrel_record record;
    for (std::size_t i = 0; kestrel_records_get(records, i, &record); ++i) sum += record.allocated_bytes;
    return sum;
}

std::int64_t pathsThroughC(const kestrel_records* records) {
    std::int64_t sum = 0;
    std::array<char, 4096> path;
    for (std::size_t i = 0; i < kestrel_records_count(records); ++i)
        sum += static_cast<std::int64_t>(kestrel_records_path(records, i, path.data(), path.size()));
    return sum;
}

std::int64_t sumOfViews(const ScanSnapshot& snapshot) {
    std::int64_t sum = 0;
    const std::size_t count = snapshot.records().size();
    for (std::size_t i = 0; i < count; ++i) sum += RecordView::of(snapshot, i).allocatedBytes;
    return sum;
}

std::int64_t sumOfRecords(const ScanSnapshot& snapshot) {
    std::int64_t sum = 0;
    for (const FileRecord& record : snapshot.records()) sum += record.allocatedBytes();
    return sum;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fputs("kestrel-bench-records FOLDER\n", stderr), 2;
    kestrel_scan* scan = nullptr;
    kestrel_snapshot* snapshot = nullptr;
    kestrel_records* records = nullptr;
    const std::optional<ScanSnapshot> contents = scanned(argv[1]);
    if (!contents || kestrel_scan_new(argv[1], &scan, nullptr) != 0 ||
        kestrel_scan_run(scan, nullptr, &snapshot, nullptr) != 0 ||
        kestrel_snapshot_records(snapshot, &records, nullptr) != 0)
        return std::fputs("There is nothing to read.\n", stderr), 1;

    struct Way {
        const char* name;
        std::function<std::int64_t()> sum;
        std::vector<double> nanoseconds{};
    };
    std::array ways{Way{"C, kestrel_records_get", [&] { return sumThroughC(records); }},
                    Way{"C++, RecordView", [&] { return sumOfViews(*contents); }},
                    Way{"C++, FileRecord", [&] { return sumOfRecords(*contents); }},
                    Way{"C, kestrel_records_path", [&] { return pathsThroughC(records); }}};
    for (int round = 0; round < 5; ++round) {
        for (Way& way : ways) {
            // Of this process alone: other programs may run meanwhile.
            const std::clock_t begin = std::clock();
            if (way.sum() <= 0) return 1;
            const double seconds = static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
            way.nanoseconds.push_back(seconds * 1e9 / static_cast<double>(contents->records().size()));
        }
    }
    std::printf("%zu records, nanoseconds each\n", contents->records().size());
    for (Way& way : ways) {
        std::ranges::sort(way.nanoseconds);
        std::printf("%-26s %8.1f\n", way.name, way.nanoseconds[2]);
    }
    kestrel_records_free(records);
    kestrel_snapshot_free(snapshot);
    kestrel_scan_free(scan);
}
