// kestrel-bench-scan FOLDER [LOOKS]: scans to the finished snapshot and nothing else, and says as JSON how long that
// took, how many entries it found and how much memory was in use at the peak. With LOOKS another thread looks at the
// growing tree, so often a second: at the folder itself and at the largest one in it. 0 only hands the tree in.

#include "KestrelCore/KestrelCore.hpp"

#include <fmt/format.h>

#include <sys/resource.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
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

/// Looks at the tree from a thread of its own, until it goes.
class Looker {
public:
    Looker(GrowingTree tree, Text root, unsigned perSecond)
        : tree_{std::move(tree)}, root_{std::move(root)}, perSecond_{perSecond} {
        if (perSecond_ > 0) thread_ = std::thread{[this] { look(); }};
    }
    ~Looker() {
        if (!thread_.joinable()) return;
        {
            const std::lock_guard lock{mutex_};
            isOver_ = true;
        }
        over_.notify_one();
        thread_.join();
    }
    Looker(const Looker&) = delete;
    Looker& operator=(const Looker&) = delete;

private:
    void look() {
        std::unique_lock lock{mutex_};
        const auto pause = std::chrono::nanoseconds{std::chrono::seconds{1}} / perSecond_;
        while (!over_.wait_for(lock, pause, [this] { return isOver_; })) {
            const auto top = tree_.listing(root_);
            if (top && !top->entries.empty()) (void)tree_.listing(top->entries.front().record.path());
        }
    }

    GrowingTree tree_;
    Text root_;
    unsigned perSecond_;
    std::mutex mutex_;
    std::condition_variable over_;
    bool isOver_ = false;
    std::thread thread_;
};

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) {
        std::fputs("kestrel-bench-scan FOLDER [LOOKS]\n", stderr);
        return 2;
    }
    try {
        const auto start = std::chrono::steady_clock::now();
        const URL folder = URL::fromPath(argv[1], true);
        ScanOptions options;
        if (argc == 3) options.growing.emplace();
        auto events = DiskScanner{}.scan(ScanScope{folder}, options);
        std::optional<Looker> looker;
        if (argc == 3) {
            looker.emplace(*options.growing, folder.standardized().path(),
                           static_cast<unsigned>(std::strtoul(argv[2], nullptr, 10)));
        }
        std::optional<ScanSnapshot> snapshot;
        while (auto event = events.next()) {
            if (auto* completed = std::get_if<ScanCompleted>(&*event)) snapshot = std::move(completed->snapshot);
        }
        looker.reset();
        const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
        if (!snapshot) return 1;
        fmt::print("{{\"seconds\": {:.4f}, \"entries\": {}, \"totalAllocatedBytes\": {}, \"peakBytes\": {}, "
                   "\"processorSeconds\": {:.3f}}}\n",
                   elapsed.count(), snapshot->records().size(), snapshot->totalAllocatedBytes(), peakBytes(),
                   processorSeconds());
    } catch (const std::exception& error) {
        fmt::print(stderr, "kestrel-bench-scan: {}\n", error.what());
        return 1;
    }
    return 0;
}
