// kestrel-bench-search FOLDER [PATHS]: scans the folder, then times searches over the snapshot beside a floor, as JSON.
//
// The floor is what a filter over records costs at the least: every path, lowercased beforehand, is looked at on its
// own and asked for both words of a query by memmem, on two threads. It runs in the same rounds as the searches, in
// turn with them, so that whatever else the machine does meets all of them alike. PATHS is a file to write every path
// to, a line each, for comparisons with other tools.

#include "KestrelCore/KestrelCore.hpp"
#include "KestrelCore/Scanning/DiskScanner.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/SnapshotAccess.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

using namespace KestrelCore;

namespace {

constexpr int rounds = 15;
constexpr std::int64_t limit = 100;

struct Timed {
    std::string name;
    std::function<std::size_t()> run;  ///< gives the number of hits
    std::size_t hits = 0;
    std::vector<double> milliseconds = {};
};

double measured(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

ScanSnapshot scanned(const char* folder) {
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(folder, true)});
    while (auto event = events.next()) {
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) return std::move(completed->snapshot);
    }
    throw std::runtime_error{"The scan ended without a snapshot."};
}

/// All paths in one text, lowercased where they are ASCII, with a newline after each.
struct Paths {
    std::string text;
    std::vector<std::size_t> begins;

    explicit Paths(const ScanSnapshot& snapshot) {
        std::string path;
        for (std::size_t i = 0; i < SnapshotAccess::storage(snapshot).size(); ++i) {
            SnapshotAccess::storage(snapshot).assignPath(SnapshotAccess::storage(snapshot).row(i), path);
            begins.push_back(text.size());
            text.append(path).append("\n");
        }
        begins.push_back(text.size());
    }
    void lowercaseASCII() {
        for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    }
    [[nodiscard]] std::size_t hits(std::size_t begin, std::size_t end, std::string_view a, std::string_view b) const {
        std::size_t count = 0;
        for (std::size_t i = begin; i < end; ++i) {
            const char* path = text.data() + begins[i];
            const std::size_t length = begins[i + 1] - begins[i] - 1;
            if (memmem(path, length, a.data(), a.size()) == nullptr) continue;
            if (memmem(path, length, b.data(), b.size()) != nullptr) ++count;
        }
        return count;
    }
    [[nodiscard]] std::size_t hitsOnTwoThreads(std::string_view a, std::string_view b) const {
        const std::size_t count = begins.size() - 1;
        std::size_t first = 0;
        std::thread helper{[&] { first = hits(0, count / 2, a, b); }};
        const std::size_t second = hits(count / 2, count, a, b);
        helper.join();
        return first + second;
    }
};

void printTimes(const std::vector<Timed>& all) {
    std::vector<double> medians;
    for (const Timed& one : all) {
        std::vector<double> sorted = one.milliseconds;
        std::sort(sorted.begin(), sorted.end());
        medians.push_back(sorted[sorted.size() / 2]);
        fmt::print("  {{\"name\": \"{}\", \"hits\": {}, \"median\": {:.2f}, \"best\": {:.2f}, \"ratio\": {:.2f}}}{}\n",
                   one.name, one.hits, medians.back(), sorted.front(), medians.back() / medians.front(),
                   &one == &all.back() ? "" : ",");
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 3) {
        std::fputs("kestrel-bench-search FOLDER [PATHS]\n", stderr);
        return 2;
    }
    try {
        const ScanSnapshot snapshot = scanned(argv[1]);
        Paths paths{snapshot};
        if (argc == 3) std::ofstream{argv[2]} << paths.text;
        paths.lowercaseASCII();

        const SearchIndex index{SnapshotAccess::storage(snapshot), 2};
        const double records = static_cast<double>(std::max<std::size_t>(snapshot.records().size(), 1));
        const double build = measured([&] { (void)snapshot.search(SearchQuery{"hidden"}, 1); });

        std::vector<Timed> all = {{"floor: two words", [&] { return paths.hitsOnTwoThreads("report", "2019"); }}};
        for (const char* text :
             {"report 2019", "raport", "huge videos in:downloads", "e", "report", "old", "documents/re"}) {
            all.push_back({text, [&snapshot, text] { return snapshot.search(SearchQuery{text}, limit).size(); }});
        }
        for (int round = 0; round <= rounds; ++round) {
            for (Timed& one : all) {
                const double time = measured([&] { one.hits = one.run(); });
                if (round > 0) one.milliseconds.push_back(time);
            }
        }
        fmt::print("{{\"records\": {}, \"indexBytesPerRecord\": {:.1f}, \"firstSearchMilliseconds\": {:.1f}, "
                   "\"searches\": [\n",
                   snapshot.records().size(), static_cast<double>(index.memoryBytes()) / records, build);
        printTimes(all);
        fmt::print("]}}\n");
    } catch (const std::exception& error) {
        fmt::print(stderr, "kestrel-bench-search: {}\n", error.what());
        return 1;
    }
    return 0;
}
