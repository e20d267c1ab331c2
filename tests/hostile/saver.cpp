#include "KestrelCore/Storage/SQLiteSnapshotStore.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "support/SampleSnapshots.hpp"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

// A host that the store's fault tests can break:
//
//     kestrel-saver save FILE NUMBER RECORDS    saves sample NUMBER; "saved" or "error: TEXT"
//     kestrel-saver load FILE RECORDS MOST      "none", the number of the sample (1 to MOST) that was loaded whole,
//                                               "strange" for any other snapshot, or "error: TEXT"
//     kestrel-saver clear FILE                  "cleared" or "error: TEXT"
//     kestrel-saver rounds FILE A B RECORDS N   saves A and B in turn, N times
//     kestrel-saver loads FILE RECORDS MOST N   loads N times; each must be whole

using namespace KestrelCore;

namespace {

std::string load(const std::string& path, std::size_t records, std::uint64_t most) {
    const auto snapshot = SQLiteSnapshotStore{URL::fromPath(path)}.loadLatest();
    if (!snapshot) return "none";
    const std::string text = contents(*snapshot);
    for (std::uint64_t number = 1; number <= most; ++number) {
        if (text == contents(sampleSnapshot(records, number))) return std::to_string(number);
    }
    return "strange";
}

std::string run(const std::string& command, char** arguments) {
    const std::string path = arguments[0];
    const auto number = [&](int index) { return std::strtoull(arguments[index], nullptr, 10); };
    if (command == "save") {
        SQLiteSnapshotStore{URL::fromPath(path)}.replace(sampleSnapshot(number(2), number(1)));
        return "saved";
    }
    if (command == "load") return load(path, number(1), number(2));
    if (command == "clear") {
        SQLiteSnapshotStore{URL::fromPath(path)}.clear();
        return "cleared";
    }
    if (command == "rounds") {
        SQLiteSnapshotStore store{URL::fromPath(path)};
        const ScanSnapshot samples[]{sampleSnapshot(number(3), number(1)), sampleSnapshot(number(3), number(2))};
        for (unsigned long long i = 0; i < number(4); ++i) store.replace(samples[i % 2]);
        return "saved";
    }
    if (command == "loads") {
        SQLiteSnapshotStore store{URL::fromPath(path)};
        std::string known[16];
        for (std::uint64_t i = 1; i <= number(2); ++i) known[i] = contents(sampleSnapshot(number(1), i));
        for (unsigned long long i = 0; i < number(3); ++i) {
            const auto snapshot = store.loadLatest();
            if (!snapshot) return "none";
            const std::string text = contents(*snapshot);
            bool isKnown = false;
            for (std::uint64_t k = 1; k <= number(2); ++k) isKnown = isKnown || text == known[k];
            if (!isKnown) return "strange";
        }
        return "loaded";
    }
    return "error: unknown command";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    std::signal(SIGXFSZ, SIG_IGN);  // as every host should
    try {
        std::cout << run(argv[1], argv + 2) << '\n';
    } catch (const std::exception& error) {
        std::cout << "error: " << error.what() << '\n';
    }
    return 0;
}
