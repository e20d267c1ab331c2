#include "KestrelCore/Storage/GenerationReader.hpp"

#include "Storage/GenerationAccess.hpp"
#include "Storage/History/GenerationDescription.hpp"
#include "Storage/History/GenerationSearch.hpp"
#include "Storage/History/GenerationSummary.hpp"
#include "Storage/History/GenerationTree.hpp"
#include "Storage/History/HistoryDatabase.hpp"
#include "Storage/History/OpenGeneration.hpp"

namespace KestrelCore {

/// A view of the database, and the generation in it.
struct GenerationReader::State {
    State(const HistoryDatabase& database, std::int64_t number)
        : reading{database}, all{reading.generations()}, generation{described(kept(all, number))},
          open{reading, all, kept(all, number)}, tree{open} {}

    HistoryDatabase::Reading reading;
    std::vector<StoredGeneration> all;
    Generation generation;
    OpenGeneration open;
    GenerationTree tree;
};

GenerationReader::GenerationReader(const HistoryDatabase& database, std::int64_t number)
    : state_{std::make_unique<const State>(database, number)} {}
GenerationReader::GenerationReader(GenerationReader&& other) noexcept = default;
GenerationReader& GenerationReader::operator=(GenerationReader&& other) noexcept = default;
GenerationReader::~GenerationReader() = default;

const OpenGeneration& GenerationAccess::open(const GenerationReader& reader) { return reader.state_->open; }

const Generation& GenerationReader::generation() const { return state_->generation; }

ScanSnapshot GenerationReader::load() const { return state_->open.snapshot(); }

std::optional<SearchAnswer> GenerationReader::search(const SearchQuery& query, std::int64_t limit,
                                                     const SearchSettings& settings) const {
    return searchGeneration(state_->open, query, limit, settings);
}

std::vector<FileRecord> GenerationReader::children(const Text& path) const { return state_->open.children(path); }

std::optional<FolderListing> GenerationReader::listing(const Text& path) const { return state_->tree.listing(path); }

std::optional<FileRecord> GenerationReader::record(const Text& path) const { return state_->open.record(path); }

std::vector<std::optional<FileRecord>> GenerationReader::records(const std::vector<Text>& paths) const {
    return state_->open.records(paths);
}

std::optional<FolderTotals> GenerationReader::totals(const Text& path) const { return state_->open.totals(path); }

std::optional<Summary> GenerationReader::summary(const Text& path, SummaryGrouping grouping,
                                                 const SummarySettings& settings) const {
    return summaryOfGeneration(state_->open.rows(), state_->open.context(), state_->open.tree(), path, grouping,
                               settings);
}

}  // namespace KestrelCore
