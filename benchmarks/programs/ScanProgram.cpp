// kestrel-bench-scan FOLDER: scans to the finished snapshot and nothing else, and says as JSON how long that took, how
// many entries it found and how much memory was in use at the peak.

#include "KestrelCore/KestrelCore.hpp"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <variant>

using namespace KestrelCore;

namespace {

/// The largest resident size so far, in bytes. The system keeps one for the program alone, while the resource usage
/// that a parent is told of includes what the parent itself used before the program began.
std::uint64_t peakBytes() {
    std::ifstream status{"/proc/self/status"};
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmHWM:")) return std::strtoull(line.c_str() + 6, nullptr, 10) * 1024;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("kestrel-bench-scan FOLDER\n", stderr);
        return 2;
    }
    try {
        const auto start = std::chrono::steady_clock::now();
        auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(argv[1], true)});
        std::optional<ScanSnapshot> snapshot;
        while (auto event = events.next()) {
            if (auto* completed = std::get_if<ScanCompleted>(&*event)) snapshot = std::move(completed->snapshot);
        }
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        if (!snapshot) return 1;
        fmt::print("{{\"seconds\": {:.4f}, \"entries\": {}, \"totalAllocatedBytes\": {}, \"peakBytes\": {}}}\n",
                   elapsed.count(), snapshot->records().size(), snapshot->totalAllocatedBytes(), peakBytes());
    } catch (const std::exception& error) {
        fmt::print(stderr, "kestrel-bench-scan: {}\n", error.what());
        return 1;
    }
    return 0;
}
