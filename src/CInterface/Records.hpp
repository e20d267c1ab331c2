#pragma once

#include "CInterface/Boundary.hpp"

#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Reclaim/SuggestionSettings.hpp"
#include "KestrelCore/Reclaim/Suggestions.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelC {

/// A record that a list has made for itself.
struct ListedRecord {
    KestrelCore::FileRecord record;
    std::int64_t itemsBelow = -1;  ///< -1: not known; so is the next
    std::int64_t freedBytes = -1;
};

/// What a list of suggested items has beside its records: whoever lets one go asks the disk once more, as the library
/// wants it asked.
struct SuggestedList {
    KestrelCore::SuggestionGroup group;
    KestrelCore::SuggestionSettings settings;
    bool isOfNewest = true;  ///< whether the generation was the newest of its root when it was asked
};

}  // namespace KestrelC

/// Either all records of a snapshot, or some of its own.
struct kestrel_records {
    kestrel_records() = default;
    explicit kestrel_records(const KestrelCore::ScanSnapshot& all)
        : snapshot{all}, snapshotCount{all.records().size()} {}

    std::optional<KestrelCore::ScanSnapshot> snapshot{};
    std::size_t snapshotCount = 0;  ///< kept here, since every look at a record asks for it
    std::vector<KestrelC::ListedRecord> listed{};
    std::shared_ptr<const KestrelC::SuggestedList> suggested{};  ///< of `listed`, one for one; null of other lists

    [[nodiscard]] std::size_t count() const { return snapshot ? snapshotCount : listed.size(); }
    /// `index` must be below `count`.
    [[nodiscard]] KestrelCore::FileRecord record(std::size_t index) const {
        return snapshot ? snapshot->records()[index] : listed[index].record;
    }
};

namespace KestrelC {

/// A list of one. Throws that it was not found where there is none.
[[nodiscard]] std::unique_ptr<kestrel_records> onlyRecord(std::optional<KestrelCore::FileRecord> record);
/// What lies in a folder, with what lies below each. Throws that it was not found where there is no such folder.
[[nodiscard]] std::unique_ptr<kestrel_records> listOf(const std::optional<KestrelCore::FolderListing>& listing);

/// What is typed, with what else a search is told. Throws an invalid argument for an order that is none.
struct TypedSearch {
    KestrelCore::SearchQuery query;
    std::int64_t limit;
    KestrelCore::SearchSettings settings;

    TypedSearch(const char* text, std::size_t limit, kestrel_search_order order,
                const kestrel_cancellation* cancellation);
};
/// The results as a list, their whole number in `matches` unless that is null. Throws that it was cancelled where there
/// is no answer.
[[nodiscard]] std::unique_ptr<kestrel_records> listOf(const std::optional<KestrelCore::SearchAnswer>& answer,
                                                      std::size_t* matches);

}  // namespace KestrelC
