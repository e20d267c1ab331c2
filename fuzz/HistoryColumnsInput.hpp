#pragma once

#include "Base/FatalError.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/GenerationSummary.hpp"
#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/SnapshotLoading.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace KestrelCore::Fuzzing {

/// Generations and their columns, as bytes say it:
///
///     number of generations | for each: form of identifiers, and of each stream rows, runs, changes (2 bytes each)
///     then columns: generation | stream | field | chunk | form | length (2 bytes) | bytes
///
/// The form of a column is 0 for bytes as they stand on a disk, 1 for texts and 2 for numbers, a byte or eight each,
/// that are packed first: so a fuzzer need not know how zstd works to change what a column says.
class HistoryInput final : public ColumnSource {
public:
    explicit HistoryInput(std::string_view bytes) : bytes_{bytes} {
        const std::size_t count = 1 + next() % 3;
        for (std::size_t i = 0; i < count; ++i) {
            GenerationLayout layout{.generation = static_cast<std::int64_t>(i) + 1,
                                    .identifiers = static_cast<IdentifierForm>(next() & 3),
                                    .streams = {}};
            for (StreamLayout& stream : layout.streams) {
                stream.rows = nextTwo();
                stream.runs = nextTwo();
                stream.changes = nextTwo();
            }
            layers_.push_back(layout);
        }
        while (!bytes_.empty()) {
            const ColumnKey key{.generation = next(),
                                .stream = static_cast<HistoryStream>(next() % 3),
                                .field = next(),
                                .chunk = next()};
            const std::uint8_t form = next();
            const std::size_t claimed = nextTwo();
            const std::size_t length = std::min(claimed, bytes_.size());
            columns_.insert_or_assign(order(key), packed(form, bytes_.substr(0, length)));
            bytes_.remove_prefix(length);
        }
    }

    [[nodiscard]] std::optional<std::string> column(const ColumnKey& key) const override {
        const auto found = columns_.find(order(key));
        return found == columns_.end() ? std::nullopt : std::optional{found->second};
    }
    [[nodiscard]] std::span<const GenerationLayout> layers() const { return layers_; }
    [[nodiscard]] const auto& columns() const { return columns_; }

private:
    using Order = std::tuple<std::int64_t, int, int, std::uint32_t>;
    static Order order(const ColumnKey& key) {
        return {key.generation, static_cast<int>(key.stream), key.field, key.chunk};
    }

    [[nodiscard]] std::uint8_t next() {
        if (bytes_.empty()) return 0;
        const auto byte = static_cast<std::uint8_t>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte;
    }
    [[nodiscard]] std::uint16_t nextTwo() {
        const unsigned low = next();
        return static_cast<std::uint16_t>(low | static_cast<unsigned>(next()) << 8);
    }

    static std::string packed(std::uint8_t form, std::string_view bytes) {
        if (form % 3 == 0) return std::string{bytes};
        if (form % 3 == 1) return Column::pack(bytes);
        const std::size_t size = form / 3 % 2 == 0 ? 1 : 8;
        std::vector<std::uint64_t> numbers(bytes.size() / size, 0);
        for (std::size_t i = 0; i < numbers.size() * size; ++i) {
            const auto byte = static_cast<std::uint64_t>(static_cast<std::uint8_t>(bytes[i]));
            numbers[i / size] |= byte << (8 * (i % size));
        }
        return Column::pack(numbers, form / 6 % 2 != 0);
    }

    std::string_view bytes_;  ///< not read yet
    std::vector<GenerationLayout> layers_;
    std::map<Order, std::string> columns_;
};

/// What a snapshot of these records says.
inline std::string shown(std::shared_ptr<const RecordStorage> records) {
    return SnapshotAccess::make(UUID{}, ScanScope{URL::fromPath("/r", true)}, Date{0}, Date{0}, std::move(records), {})
        .encodedJSON();
}

/// The records, once more through columns.
inline std::string keptAgain(const RecordStorage& records) {
    struct Kept final : ColumnSource {
        std::optional<std::string> column(const ColumnKey& key) const override {
            const auto found = columns.find({key.generation, static_cast<int>(key.stream), key.field, key.chunk});
            return found == columns.end() ? std::nullopt : std::optional{found->second};
        }
        std::map<std::tuple<std::int64_t, int, int, std::uint32_t>, std::string> columns;
    } kept;
    const SnapshotRows rows{records, {}, {}};
    const GenerationLayout layout = writeFull(rows, 1, [&](const ColumnKey& key, std::string&& bytes) {
        kept.columns.emplace(std::tuple{key.generation, static_cast<int>(key.stream), int{key.field}, key.chunk},
                             std::move(bytes));
    });
    const GenerationContext context{.dictionary = rows.dictionary(),
                                    .identifierSeed = records.identifierSeed().value_or(UUID{}),
                                    .positions =
                                        rows.isInScanOrder() ? std::vector<std::uint64_t>{} : rows.positions()};
    return shown(loadRecords(GenerationRows{kept, {&layout, 1}}, context));
}

/// Columns come from a file that a disk may have changed, or somebody. Whatever they hold, reading them ends with
/// records or an error that says which generation is damaged; and records that were read can be kept again and come
/// back equal.
inline void exerciseHistoryColumns(std::string_view bytes) {
    const auto expect = [](bool holds, const char* promise) {
        if (!holds) fatalError("fuzz/HistoryColumns", promise);
    };
    const HistoryInput input{bytes};
    for (const auto& [key, packed] : input.columns()) {
        std::vector<std::uint64_t> numbers;
        for (const std::size_t count : {std::size_t{0}, std::size_t{1}, std::size_t{300}, Column::mostRows + 1}) {
            if (Column::unpack(packed, count, numbers)) expect(numbers.size() == count, "A column has its count");
        }
        if (Column::unpackCounted(packed, numbers)) expect(numbers.size() <= Column::mostRows, "A column is short");
        constexpr std::size_t mostBytes = 1000;
        if (const auto text = Column::unpack(packed, mostBytes)) expect(text->size() <= mostBytes, "A limit holds");
    }
    const GenerationContext context{
        .dictionary = {.extensions = {"", "txt", "jpg"}, .devices = {7, 8}}, .identifierSeed = {}, .positions = {}};
    try {
        const GenerationRows rows{input, input.layers()};
        const FolderTable table{rows, 0};
        for (const SummaryGrouping grouping : allSummaryGroupings) {
            const auto summary = summaryOfGeneration(rows, context, table, "/", grouping, {});
            expect(!summary || summary->all.items <= rows.files().size() + std::int64_t{rows.irregular().size()},
                   "A summary counts what is there");
        }
    } catch (const KestrelError& error) {
        expect(error.errorDescription().view().find("is damaged") != std::string_view::npos, "The generation is named");
    }
    std::shared_ptr<const RecordStorage> records;
    try {
        records = loadRecords(GenerationRows{input, input.layers()}, context);
    } catch (const KestrelError& error) {
        expect(error.errorDescription().view().find("is damaged") != std::string_view::npos, "The generation is named");
        return;
    }
    expect(keptAgain(*records) == shown(records), "What was read is kept as something else");
}

}  // namespace KestrelCore::Fuzzing
