// kestrel-bench-history RECORDS FILE: makes a snapshot of that many records and one like it in which 1 % of the files
// have changed, keeps both in a new history FILE, and asks that. Prints the seconds of each step, the bytes that the
// file has and the most memory that was ever held, as JSON: what it costs a record must not grow with their number.

#include "KestrelCore/KestrelCore.hpp"
#include "KestrelCore/Storage/SnapshotHistory.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/TreeOrder.hpp"

#include <fmt/format.h>

#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace KestrelCore;

namespace {

/// Makes the records of a tree in the order of a scan. No name is the beginning of another, and folders come before
/// files, so that this is the order of the walk.
class TreeMaker {
public:
    explicit TreeMaker(std::size_t records)
        : left_{records},
          // So that a tree of more records is wider and not deeper.
          subfolders_{static_cast<std::size_t>(
              std::ceil(std::pow(static_cast<double>(records) / (filesInFolder + 1), 1.0 / levels)))} {}

    std::shared_ptr<RecordStorage> make() {
        storage_->fill(storage_->appendIrregular(std::nullopt, "/made", "made"), folderFields());
        --left_;
        sum_.push_back(0);
        fill(storage_->folder("/made").value(), 0);
        storage_->row(0).aggregateAllocatedBytes = sum_.back() + 4096;
        storage_->deriveIdentifiers(UUID::random(), TreeOrder{*storage_}.places());
        storage_->finishBuilding();
        return std::move(storage_);
    }

private:
    static constexpr int levels = 4;
    static constexpr std::size_t filesInFolder = 12;

    RecordStorage::Fields folderFields() {
        return {.identity = FileIdentity{7, ++inode_},
                .kind = FileKind::directory,
                .logicalBytes = 4096,
                .allocatedBytes = 4096,
                .modifiedAt = Date{static_cast<double>(random_() % 700'000'000)}};
    }

    void fill(RecordStorage::FolderIndex folder, int depth) {
        for (std::size_t i = 0; depth < levels && i < subfolders_ && left_ > 0; ++i) {
            const std::size_t at = storage_->size();
            --left_;
            storage_->fill(storage_->appendRegular(folder, fmt::format("f{:06}", i)), folderFields());
            sum_.push_back(0);
            fill(storage_->addFolder(folder, storage_->row(at)), depth + 1);
            const std::int64_t bytes = sum_.back() + 4096;
            sum_.pop_back();
            storage_->row(at).aggregateAllocatedBytes = bytes;
            sum_.back() += bytes;
        }
        for (std::size_t i = 0; i < filesInFolder && left_ > 0; ++i, --left_) {
            static constexpr const char* names[]{"report", "photo", "draft", "index", "module", "backup"};
            const char* extension = random_() % 3 == 0 ? "txt" : "jpg";
            const auto logical = static_cast<std::int64_t>(random_() % 200'000);
            const std::int64_t allocated = (logical + 4095) / 4096 * 4096;
            RecordStorage::Row& row =
                storage_->appendRegular(folder, fmt::format("x{:02}{} {}.{}", i, names[random_() % std::size(names)],
                                                            2010 + random_() % 15, extension));
            storage_->fill(row, {.identity = FileIdentity{7, ++inode_},
                                 .logicalBytes = logical,
                                 .allocatedBytes = allocated,
                                 .aggregateAllocatedBytes = allocated,
                                 .modifiedAt = Date{static_cast<double>(random_() % 700'000'000)},
                                 .extension = storage_->internExtension(extension)});
            sum_.back() += allocated;
        }
    }

    std::shared_ptr<RecordStorage> storage_ = std::make_shared<RecordStorage>();
    std::mt19937_64 random_{1};
    std::size_t left_;
    std::size_t subfolders_;
    std::uint64_t inode_ = 1'000;
    std::vector<std::int64_t> sum_;
};

ScanSnapshot snapshotOf(std::shared_ptr<const RecordStorage> storage) {
    const Date now = Date::now();
    return SnapshotAccess::make(UUID::random(), ScanScope{URL::fromPath("/made", true)}, now, now, std::move(storage),
                                {});
}

/// One file in a hundred is smaller.
ScanSnapshot changed(const ScanSnapshot& snapshot) {
    auto storage = SnapshotAccess::storage(snapshot).copy([](std::size_t) { return true; });
    for (std::size_t i = 0; i < storage->size(); i += 100) {
        RecordStorage::Row& row = storage->row(i);
        if (!row.isContainer()) row.logicalBytes /= 2;
    }
    return snapshotOf(std::move(storage));
}

void timed(const char* what, std::size_t records, const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    fmt::print(R"(, "{}": {{"seconds": {:.3f}, "nanosecondsARecord": {:.0f}, "peakBytesARecord": {:.0f}}})", what,
               seconds, seconds * 1e9 / static_cast<double>(records),
               static_cast<double>(usage.ru_maxrss) * 1024 / static_cast<double>(records));
    std::fflush(stdout);
}

void run(std::size_t records, const std::string& file) {
    if (std::filesystem::exists(file)) throw std::runtime_error{file + " is there already."};
    fmt::print(R"({{"records": {})", records);
    SnapshotHistory history{URL::fromPath(file)};
    {
        std::optional<ScanSnapshot> first;
        timed("make", records, [&] { first = snapshotOf(TreeMaker{records}.make()); });
        timed("addFirst", records, [&] { (void)history.add(*first); });
        const ScanSnapshot second = changed(*first);
        first.reset();
        timed("addSecond", records, [&] { (void)history.add(second); });
    }
    std::optional<ScanSnapshot> loaded;
    timed("load", records, [&] { loaded = history.load(2); });
    std::size_t found = 0;
    timed("search", records, [&] { found = loaded->search(SearchQuery{"report 2019"}, 100).size(); });
    timed("list", records, [&] { found += history.children(2, "/made").size(); });
    // What a page shows that opens on the scan: the top, a folder in it, and how much of that is opening.
    std::optional<GenerationReader> reader;
    std::optional<FolderListing> top;
    timed("open", records, [&] { reader.emplace(history.open(2)); });
    timed("listTop", records, [&] { top = reader->listing("/made"); });
    timed("listTopAgain", records, [&] { top = reader->listing("/made"); });
    const FolderEntry* least = nullptr;
    for (const FolderEntry& entry : top->entries) {
        if (entry.below.items > 0 && (least == nullptr || entry.below.items < least->below.items)) least = &entry;
    }
    if (least != nullptr) {
        timed("listFolder", records, [&] { found += reader->listing(least->record.path())->entries.size(); });
        const GenerationReader fresh = history.open(2);
        timed("listFolderAtOnce", records, [&] { found += fresh.listing(least->record.path())->entries.size(); });
        fmt::print(R"(, "itemsOfFolder": {})", least->below.items);
    }
    // What its files are, each from a generation that was just opened, and the largest of them.
    for (const SummaryGrouping grouping : allSummaryGroupings) {
        const GenerationReader fresh = history.open(2);
        const std::string name = "summaryBy" + std::string{rawValue(grouping)};
        timed(name.c_str(), records, [&] { found += fresh.summary("/made", grouping)->rows.size(); });
    }
    timed("largestFiles", records, [&] {
        const SearchSettings settings{.cancellation = {},
                                      .now = {},
                                      .filter = {.kinds = {FileKind::file}, .inFolders = {"/made"}},
                                      .order = SearchOrder::size};
        found += history.open(2).search(SearchQuery{}, 100, settings)->results.size();
    });
    timed("growth", records, [&] { found += history.growth(1, 2)->changes.size(); });
    fmt::print(R"(, "found": {}, "bytes": {}}})"
               "\n",
               found, std::filesystem::file_size(file));
}

}  // namespace

int main(int count, char** arguments) {
    try {
        if (count != 3) throw std::runtime_error{"Usage: kestrel-bench-history RECORDS FILE"};
        run(std::stoul(arguments[1]), arguments[2]);
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
}
