#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <map>
#include <ranges>
#include <string>
#include <vector>

// A host that the history's fault tests can break. Samples follow each other as scans of one root do, each the one
// before with some of it changed, gone or new; so most are kept as differences.
//
//     kestrel-keeper add FILE NUMBER RECORDS        adds sample NUMBER; "added" or "error: TEXT"
//     kestrel-keeper forget FILE GENERATION…        "forgotten"
//     kestrel-keeper thin FILE                      keeps the newest alone; "thinned"
//     kestrel-keeper clear FILE                     "cleared"
//     kestrel-keeper list FILE RECORDS              for each generation, oldest first, the sample that it holds whole,
//                                                   "strange" for any other, "damaged" where it says so, "failed"
//                                                   for other errors; or "none"
//     kestrel-keeper rounds FILE FIRST RECORDS N    adds samples FIRST to FIRST + N - 1
//     kestrel-keeper reads FILE RECORDS N           loads the newest N times, and each must be a sample

using namespace KestrelCore;

namespace {

UUID idOf(std::uint64_t number) {
    UUID id;
    id.bytes.fill(0x40);
    id.bytes[15] = static_cast<std::uint8_t>(number);
    id.bytes[14] = static_cast<std::uint8_t>(number >> 8);
    return id;
}

std::uint64_t numberOf(const UUID& id) {
    const std::uint64_t number = id.bytes[15] | static_cast<std::uint64_t>(id.bytes[14]) << 8;
    return idOf(number) == id ? number : 0;
}

/// Made one after the other when they are asked for.
class Samples {
public:
    explicit Samples(std::size_t records) : records_{records} {}

    const ScanSnapshot& sample(std::uint64_t number) {
        while (made_.size() < number) {
            const std::uint64_t next = made_.size() + 1;
            const Date completedAt{700'000'000 + static_cast<double>(next)};
            made_.push_back(asScanned(made_.empty() ? sampleSnapshot(records_, 1) : changed(made_.back(), next),
                                      completedAt, idOf(next)));
        }
        return made_[number - 1];
    }
    /// The sample's number, or what else the snapshot is.
    std::string nameOf(const ScanSnapshot& snapshot) {
        const std::uint64_t number = numberOf(snapshot.id());
        const bool isWhole = number != 0 && contents(snapshot) == contents(sample(number));
        return isWhole ? std::to_string(number) : "strange";
    }

private:
    std::size_t records_;
    std::vector<ScanSnapshot> made_;
};

std::string list(const SnapshotHistory& history, Samples& samples) {
    std::string result;
    for (const Generation& generation : std::ranges::reverse_view{history.generations()}) {
        std::string name;
        try {
            name = samples.nameOf(history.load(generation.number));
        } catch (const std::exception& error) {
            // It must say which; of a difference that may be the one it is a difference to.
            const std::string text = error.what();
            const bool isNamed = text.starts_with("Generation ") && text.ends_with("is damaged and can't be read.");
            name = isNamed ? "damaged" : "failed";
            if (!isNamed) std::cerr << text << '\n';
        }
        result += (result.empty() ? "" : " ") + name;
    }
    return result.empty() ? "none" : result;
}

std::string run(const std::string& command, const std::vector<std::string>& arguments) {
    SnapshotHistory history{URL::fromPath(arguments.at(0))};
    const auto number = [&](std::size_t index) { return std::strtoull(arguments.at(index).c_str(), nullptr, 10); };
    if (command == "add") {
        (void)history.add(Samples{number(2)}.sample(number(1)));
        return "added";
    }
    if (command == "forget") {
        std::vector<std::int64_t> numbers;
        for (std::size_t i = 1; i < arguments.size(); ++i) numbers.push_back(static_cast<std::int64_t>(number(i)));
        history.forget(numbers);
        return "forgotten";
    }
    if (command == "thin") {
        (void)history.thin(ThinningPolicy{.mostBytes = 0}, Date{900'000'000});
        return "thinned";
    }
    if (command == "clear") {
        (void)history.clear();
        return "cleared";
    }
    if (command == "list") {
        Samples samples{number(1)};
        return list(history, samples);
    }
    if (command == "rounds") {
        Samples samples{number(2)};
        for (std::uint64_t i = 0; i < number(3); ++i) (void)history.add(samples.sample(number(1) + i));
        return "added";
    }
    if (command == "reads") {
        Samples samples{number(1)};
        for (std::uint64_t i = 0; i < number(2); ++i) {
            const auto newest = history.newest("/home/someone");
            if (!newest) return "none";
            const std::string name = samples.nameOf(history.load(newest->number));
            if (name == "strange") return name;
        }
        return "read";
    }
    return "error: unknown command";
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    std::signal(SIGXFSZ, SIG_IGN);  // as every host should
    try {
        std::cout << run(argv[1], {argv + 2, argv + argc}) << '\n';
    } catch (const std::exception& error) {
        std::cout << "error: " << error.what() << '\n';
    }
    return 0;
}
