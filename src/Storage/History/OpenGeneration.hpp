#pragma once

#include "Base/Lazy.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/HistoryDatabase.hpp"
#include "Storage/History/RecordBuilder.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

/// A generation that can be asked. What is not asked for is not read. Throws what reading throws.
class OpenGeneration {
public:
    /// `reading` must outlive this; `generation` is one of `all`.
    OpenGeneration(const HistoryDatabase::Reading& reading, const std::vector<StoredGeneration>& all,
                   const StoredGeneration& generation);
    OpenGeneration(const OpenGeneration&) = delete;
    OpenGeneration& operator=(const OpenGeneration&) = delete;

    [[nodiscard]] const StoredGeneration& stored() const { return stored_; }
    [[nodiscard]] const GenerationRows& rows() const { return rows_; }
    [[nodiscard]] const GenerationContext& context() const { return context_; }
    /// The folders, with what hangs them together and nothing else: read when they are first asked for.
    [[nodiscard]] const FolderTable& tree() const;

    [[nodiscard]] std::vector<ScanIssue> issues() const;
    [[nodiscard]] ScanSnapshot snapshot() const;
    /// A snapshot with the generation's description and issues, and these records.
    [[nodiscard]] ScanSnapshot snapshotOf(std::shared_ptr<const RecordStorage> records) const;
    // As of `GenerationReader`.
    [[nodiscard]] std::vector<FileRecord> children(const Text& path) const;
    [[nodiscard]] std::optional<FileRecord> record(const Text& path) const;
    [[nodiscard]] std::vector<std::optional<FileRecord>> records(const std::vector<Text>& paths) const;
    [[nodiscard]] std::optional<FolderTotals> totals(const Text& path) const;

private:
    static std::vector<GenerationLayout> layersOf(const HistoryDatabase::Reading& reading,
                                                  const std::vector<StoredGeneration>& all,
                                                  const StoredGeneration& generation);
    void readDictionary();
    void readPositions();
    /// Takes the positions of the rows that a removal has left from those of all, and closes the gaps between them.
    void closePositions();

    const HistoryDatabase::Reading& reading_;
    StoredGeneration stored_;
    std::vector<GenerationLayout> layers_;
    GenerationRows rows_;
    GenerationContext context_;
    Lazy<FolderTable> tree_;
};

/// Writes what a generation's rows refer to; of a difference what its dictionary adds.
void writeLists(const HistoryDictionary& added, const std::vector<ScanIssue>& issues,
                const std::vector<std::uint64_t>& positions, std::int64_t generation, const ColumnSink& sink);

}  // namespace KestrelCore
