#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/SnapshotLoading.hpp"

#include "Snapshot/SnapshotAccess.hpp"
#include "support/Records.hpp"
#include "support/SampleSnapshots.hpp"
#include "support/ScannedSnapshots.hpp"

#include <gtest/gtest.h>

#include <exception>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace KestrelCore {

namespace {

using testing::aRecord;
using testing::aSnapshot;

/// Generations in memory, each on the one before it.
class Shelf final : public ColumnSource {
public:
    std::optional<std::string> column(const ColumnKey& key) const override {
        const auto found = columns_.find(order(key));
        return found == columns_.end() ? std::nullopt : std::optional{found->second};
    }

    void addFull(const ScanSnapshot& snapshot) {
        layers_.clear();
        add(snapshot, HistoryDictionary{}, true);
    }
    void addDifference(const ScanSnapshot& snapshot) { add(snapshot, context_.dictionary, false); }

    ScanSnapshot loaded(const ScanSnapshot& like) const {
        const GenerationRows rows{*this, layers_};
        return SnapshotAccess::make(like.id(), like.scope(), like.startedAt(), like.completedAt(),
                                    loadRecords(rows, context_), like.issues());
    }
    [[nodiscard]] const GenerationLayout& newest() const { return layers_.back(); }
    [[nodiscard]] const GenerationContext& context() const { return context_; }
    [[nodiscard]] std::size_t bytes() const {
        std::size_t sum = 0;
        for (const auto& [key, column] : columns_) sum += column.size();
        return sum;
    }
    [[nodiscard]] std::map<std::tuple<std::int64_t, int, int, std::uint32_t>, std::string>& columns() {
        return columns_;
    }

private:
    static std::tuple<std::int64_t, int, int, std::uint32_t> order(const ColumnKey& key) {
        return {key.generation, static_cast<int>(key.stream), key.field, key.chunk};
    }

    void add(const ScanSnapshot& snapshot, HistoryDictionary known, bool isFull) {
        const RecordStorage& storage = SnapshotAccess::storage(snapshot);
        const SnapshotRows rows{storage, std::move(known), HistoryAges{.countedFrom = 700'000'000}};
        const ColumnSink sink = [this](const ColumnKey& key, std::string&& packed) {
            EXPECT_TRUE(columns_.emplace(order(key), std::move(packed)).second);
        };
        const auto number = next_++;
        const GenerationLayout layout = isFull ? writeFull(rows, number, sink)
                                               : writeDifference(rows, GenerationRows{*this, layers_}, number, sink);
        layers_.push_back(layout);
        context_ = {.dictionary = rows.dictionary(),
                    .identifierSeed = storage.identifierSeed().value_or(UUID{}),
                    .positions = rows.isInScanOrder() ? std::vector<std::uint64_t>{} : rows.positions()};
    }

    std::map<std::tuple<std::int64_t, int, int, std::uint32_t>, std::string> columns_;
    std::vector<GenerationLayout> layers_;
    GenerationContext context_;
    std::int64_t next_ = 1;
};

}  // namespace

TEST(Generation, givesEveryRecordBack) {
    for (const std::size_t count : {1U, 2U, 17U, 400U, 3000U}) {
        const ScanSnapshot snapshot = sampleSnapshot(count, count);
        Shelf shelf;
        shelf.addFull(snapshot);
        EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot)) << count;
    }
}

TEST(Generation, givesTheRecordsOfAScanBackWithoutKeepingTheirIdentifiersOrOrder) {
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(3000, 5));
    Shelf shelf;
    shelf.addFull(snapshot);
    EXPECT_EQ(shelf.newest().identifiers, IdentifierForm::inPlace);
    EXPECT_TRUE(shelf.context().positions.empty());
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
}

TEST(Generation, keepsOddRecords) {
    const ScanSnapshot snapshot =
        aSnapshot("/r", {
                            aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory, .aggregate = -5}),
                            aRecord({.path = "/r/z", .kind = FileKind::directory}),
                            aRecord({.path = "/r/a", .logical = -1, .allocated = -512, .aggregate = INT64_MIN}),
                            aRecord({.path = "/r/a", .logical = INT64_MAX, .allocated = 7, .aggregate = INT64_MAX}),
                            aRecord({.path = "/r/z", .kind = FileKind::package, .modified = Date{-0.0}}),
                            aRecord({.path = "/r/z/e\u0301", .modified = Date{1e300}}),
                            aRecord({.path = "/r/z/\u00E9", .modified = Date{-978'307'200.25}}),
                            aRecord({.path = "/r/a/below a file", .modified = Date{1e-9}}),
                            aRecord({.path = "elsewhere", .parent = "not above it", .identity = std::nullopt}),
                            aRecord({.path = "/other/place", .kind = FileKind::directory, .modified = std::nullopt}),
                            aRecord({.path = "/", .isTop = true, .kind = FileKind::directory}),
                            aRecord({.path = "/top"}),
                            aRecord({.path = "/r/a/", .parent = "/r/a"}),
                        });
    Shelf shelf;
    shelf.addFull(snapshot);
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
}

TEST(Generation, keepsNothing) {
    const ScanSnapshot snapshot = aSnapshot("/r", {});
    Shelf shelf;
    shelf.addFull(snapshot);
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
    const ScanSnapshot scanned = asScanned(snapshot);
    shelf.addFull(scanned);
    shelf.addDifference(asScanned(sampleSnapshot(50, 1)));
    shelf.addDifference(scanned);
    EXPECT_EQ(contents(shelf.loaded(scanned)), contents(scanned));
}

TEST(Generation, keepsRecordsOfMoreDevicesThanRowsTellApart) {
    std::vector<FileRecord> records{aRecord({.path = "/r", .isTop = true, .kind = FileKind::directory})};
    for (std::uint64_t i = 0; i < 700; ++i) {
        const std::string folder = "/r/" + std::to_string(i % 300);
        if (i < 300) {
            records.push_back(aRecord(
                {.path = folder, .kind = FileKind::directory, .identity = FileIdentity{.device = 10 * i, .inode = i}}));
        }
        records.push_back(
            aRecord({.path = folder + "/" + std::to_string(i), .identity = FileIdentity{.device = 7 * i, .inode = i}}));
    }
    const ScanSnapshot snapshot = aSnapshot("/r", records);
    Shelf shelf;
    shelf.addFull(snapshot);
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
}

TEST(Generation, keepsMoreRowsThanAChunkHas) {
    std::vector<FileRecord> records;
    for (int i = 0; i < 70'000; ++i) records.push_back(aRecord({.path = "/r/" + std::to_string(i), .logical = i}));
    const ScanSnapshot snapshot = asScanned(aSnapshot("/r", records));
    Shelf shelf;
    shelf.addFull(snapshot);
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
}

TEST(Generation, isKeptAsTheDifferencesToAnother) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        ScanSnapshot snapshot = asScanned(sampleSnapshot(500, seed));
        Shelf shelf;
        shelf.addFull(snapshot);
        for (std::uint64_t step = 1; step <= 6; ++step) {
            snapshot = asScanned(changed(snapshot, seed * 100 + step));
            shelf.addDifference(snapshot);
            ASSERT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot)) << seed << ", " << step;
        }
    }
}

TEST(Generation, isKeptAsTheDifferenceOfMoreRowsThanAChunkHas) {
    // Enough folders and files for both threads; every third file of every seventh folder is gone, new or changed.
    const auto tree = [](bool isLater) {
        std::vector<FileRecord> records;
        for (int folder = 0; folder < 1500; ++folder) {
            const std::string path = "/r/" + std::to_string(folder);
            records.push_back(aRecord({.path = path, .kind = FileKind::directory}));
            for (int file = 0; file < 50; ++file) {
                const int fate = folder % 7 == 0 && file % 3 == 0 ? file / 3 % 3 : -1;
                if (fate == (isLater ? 0 : 1)) continue;
                records.push_back(aRecord(
                    {.path = path + "/" + std::to_string(file), .logical = fate == 2 && isLater ? file + 1 : file}));
            }
        }
        return asScanned(aSnapshot("/r", records));
    };
    const ScanSnapshot before = tree(false);
    const ScanSnapshot after = tree(true);
    Shelf shelf;
    shelf.addFull(before);
    shelf.addDifference(after);
    EXPECT_EQ(contents(shelf.loaded(after)), contents(after));
    const StreamLayout& files = shelf.newest().of(HistoryStream::files);
    EXPECT_EQ(files.rows, 215U * 6);
    EXPECT_EQ(files.changes, 215U * 5);
    shelf.addDifference(before);
    EXPECT_EQ(contents(shelf.loaded(before)), contents(before));
}

TEST(Generation, thatIsTheSameTakesNoRows) {
    const ScanSnapshot snapshot = asScanned(sampleSnapshot(500, 3));
    Shelf shelf;
    shelf.addFull(snapshot);
    const std::size_t before = shelf.bytes();
    shelf.addDifference(asScanned(snapshot));
    EXPECT_EQ(shelf.newest().of(HistoryStream::files), StreamLayout{});
    EXPECT_EQ(shelf.newest().of(HistoryStream::folders), StreamLayout{});
    EXPECT_EQ(shelf.bytes(), before);
}

TEST(Generation, thatHasLostAColumnOrHasAnotherInItsPlaceIsNotReadAsSomethingElse) {
    ScanSnapshot snapshot = asScanned(sampleSnapshot(300, 9));
    Shelf shelf;
    shelf.addFull(snapshot);
    snapshot = asScanned(changed(snapshot, 10));
    shelf.addDifference(snapshot);
    const auto whole = shelf.columns();
    // Whatever the bytes are: an error, or some snapshot, and never more than its columns may have.
    for (const auto& [key, column] : whole) {
        for (const std::string& other : {std::string{}, column.substr(0, column.size() / 2), whole.begin()->second}) {
            shelf.columns()[key] = other;
            try {
                (void)shelf.loaded(snapshot);
            } catch (const std::exception&) {
            }
        }
        shelf.columns()[key] = column;
    }
    EXPECT_EQ(contents(shelf.loaded(snapshot)), contents(snapshot));
}

}  // namespace KestrelCore
