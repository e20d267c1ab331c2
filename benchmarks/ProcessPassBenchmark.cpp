#include "KestrelCore/Metrics/SystemMetrics.hpp"

#include <benchmark/benchmark.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

// One pass over the processes, held against a minimal program that makes the same reads and keeps nothing: for each
// process its folder, `stat`, `statm`, the link `exe` and its processor clock, and the state of each thread where there
// is more than one. The two take turns, so that whatever else the machine does meets both.

namespace {

/// Processes that wait, so that there is something to list. They end with this object, and with this program.
class Sleepers {
public:
    explicit Sleepers(int count) {
        for (int index = 0; index < count; ++index) {
            const pid_t child = fork();
            if (child == 0) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                for (;;) pause();
            }
            if (child > 0) children_.push_back(child);
        }
    }
    Sleepers(const Sleepers&) = delete;
    Sleepers& operator=(const Sleepers&) = delete;
    ~Sleepers() {
        for (const pid_t child : children_) kill(child, SIGKILL);
        for (const pid_t child : children_) waitpid(child, nullptr, 0);
    }

private:
    std::vector<pid_t> children_;
};

long slurp(int folder, const char* name, char* buffer, std::size_t size) {
    const int file = openat(folder, name, O_RDONLY | O_CLOEXEC);
    if (file < 0) return -1;
    const ssize_t got = read(file, buffer, size - 1);
    close(file);
    if (got >= 0) buffer[got] = 0;
    return got;
}

/// The state letters of the threads, which is all that is wanted of them.
long threadStates(int process) {
    long sum = 0;
    const int tasks = openat(process, "task", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const folder = tasks < 0 ? nullptr : fdopendir(tasks);
    if (folder == nullptr) return 0;
    char buffer[1024];
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] == '.') continue;
        char name[300];
        std::snprintf(name, sizeof name, "%s/stat", entry->d_name);
        if (slurp(tasks, name, buffer, sizeof buffer) <= 0) continue;
        if (const char* const end = std::strrchr(buffer, ')')) sum += end[2];
    }
    closedir(folder);
    return sum;
}

long minimalPass() {
    long sum = 0;
    char buffer[4096];
    DIR* const folder = opendir("/proc");
    while (const dirent* entry = readdir(folder)) {
        if (entry->d_name[0] < '1' || entry->d_name[0] > '9') continue;
        const int process = openat(dirfd(folder), entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (process < 0) continue;
        long threads = 0;
        if (slurp(process, "stat", buffer, sizeof buffer) > 0) {
            unsigned long user = 0;
            unsigned long system = 0;
            if (const char* const end = std::strrchr(buffer, ')')) {
                std::sscanf(end + 4, "%*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu %*d %*d %*d %*d %ld", &user,
                            &system, &threads);
            }
            sum += static_cast<long>(user + system) + threads;
        }
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(std::atoi(entry->d_name), &clock) == 0 && clock_gettime(clock, &time) == 0) {
            sum += time.tv_nsec;
        }
        if (slurp(process, "statm", buffer, sizeof buffer) > 0) sum += std::strtol(buffer, nullptr, 10);
        sum += readlinkat(process, "exe", buffer, sizeof buffer);
        if (threads > 1) sum += threadStates(process);
        close(process);
    }
    closedir(folder);
    return sum;
}

double median(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + std::ssize(values) / 2);
    return values[values.size() / 2];
}

void passOverProcesses(benchmark::State& state) {
    using Clock = std::chrono::steady_clock;
    const Sleepers sleepers{static_cast<int>(state.range(0))};
    KestrelCore::ProcessSampler sampler;
    std::vector<double> minimal;
    std::vector<double> sampled;
    std::size_t processCount = 0;
    for (auto _ : state) {
        const auto begin = Clock::now();
        benchmark::DoNotOptimize(minimalPass());
        const auto middle = Clock::now();
        processCount = sampler.sample().size();
        const auto end = Clock::now();
        minimal.push_back(std::chrono::duration<double>{middle - begin}.count());
        sampled.push_back(std::chrono::duration<double>{end - middle}.count());
        state.SetIterationTime(sampled.back());
    }
    state.counters["processes"] = static_cast<double>(processCount);
    state.counters["minimal_us_each"] = median(minimal) * 1e6 / static_cast<double>(processCount);
    state.counters["sampler_us_each"] = median(sampled) * 1e6 / static_cast<double>(processCount);
    state.counters["ratio"] = median(sampled) / median(minimal);
}
BENCHMARK(passOverProcesses)->Arg(500)->Iterations(200)->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
