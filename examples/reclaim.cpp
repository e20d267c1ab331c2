// What can go in a folder, by rules, and how it comes back: reclaim FOLDER HISTORY-FILE
//     c++ -std=c++20 reclaim.cpp $(pkg-config --cflags --libs kestrelcore) -o reclaim
#include <KestrelCore/KestrelCore.hpp>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>
#include <variant>

using namespace KestrelCore;

namespace {

// Names come from a disk: what a terminal would obey is not shown as it is.
std::string shown(const Text& text) {
    std::string line;
    for (const char byte : text.view()) {
        const auto value = static_cast<unsigned char>(byte);
        const bool isC1 = line.ends_with('\xC2') && value < 0xA0;
        line += value < ' ' || value == 127 || isC1 ? '?' : byte;
    }
    return line;
}

std::optional<ScanSnapshot> scanned(const Text& folder) {
    auto events = DiskScanner{}.scan(ScanScope{URL::fromPath(folder, true)}, ScanOptions::everything());
    while (auto event = events.next()) {
        if (auto* completed = std::get_if<ScanCompleted>(&*event)) return completed->snapshot;
    }
    return std::nullopt;
}

int tell(const Text& folder, const Text& file) {
    SnapshotHistory history{URL::fromPath(file)};
    const auto snapshot = scanned(folder);
    if (!snapshot) return 1;
    const GenerationReader generation = history.open(history.add(*snapshot).number);
    SuggestionSettings settings{.places = ReclaimPlaces::ofThisProcess(), .folder = folder};
    const auto suggestions = Suggestions::of(generation, ReclaimCatalogue::standard(), settings);
    if (!suggestions) return 1;
    for (const SuggestionGroup& group : suggestions->groups) {
        std::printf("%10.1f MB  %s. %s\n", static_cast<double>(group.freedBytes) / 1e6, shown(group.rule.title).c_str(),
                    shown(group.rule.comesBack).c_str());
        for (const SuggestedItem& item : group.items)
            std::printf("               %s\n", shown(item.record.path()).c_str());
    }
    std::printf("%10.1f MB  in all\n", static_cast<double>(suggestions->freedBytes) / 1e6);
    return 0;
}

}  // namespace

int main(int argc, char** argv) try {
    if (argc != 3) return std::fputs("reclaim FOLDER HISTORY-FILE\n", stderr), 2;
    return tell(std::filesystem::canonical(argv[1]).native(), std::filesystem::absolute(argv[2]).native());
} catch (const std::exception& error) {
    return std::fprintf(stderr, "reclaim: %s\n", error.what()), 1;
}
