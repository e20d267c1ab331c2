#pragma once

#include "KestrelCore/Model/SearchFilter.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <array>
#include <cstdint>
#include <vector>

namespace KestrelCore {

/// What a `SearchFilter` asks of kinds and places, made ready for one storage. Bounds, extensions and words are the
/// search's own. Fixed once it is built; any thread.
class RowFilter {
public:
    /// Both must outlive it.
    RowFilter(const RecordStorage& storage, const SearchFilter& filter);

    [[nodiscard]] bool hasTypes() const { return hasTypes_; }
    /// By the row's kind and extension. Only where there are types.
    [[nodiscard]] bool isOfType(const RecordStorage::Row& row) const {
        const Answer answer = kinds_[row.kindValue];
        return answer == Answer::yes || (answer == Answer::byExtension && extensions_[row.extension] != 0);
    }

    /// Whether the row lies below a wanted folder; false where there are none.
    [[nodiscard]] bool isBelowWanted(const RecordStorage::Row& row) const;
    /// Whether it is or lies below an unwanted one.
    [[nodiscard]] bool isUnwanted(const RecordStorage::Row& row) const;

private:
    enum class Answer : std::uint8_t { no, yes, byExtension };

    void answerKinds();
    /// For each folder whether it is one of `places` or lies below one; empty where there are none.
    [[nodiscard]] std::vector<std::uint8_t> within(const std::vector<Text>& places) const;

    const RecordStorage& storage_;
    const SearchFilter& filter_;
    bool hasTypes_;
    std::array<Answer, allFileKinds.size()> kinds_{};
    std::vector<std::uint8_t> extensions_;  ///< by position: whether files with it are of a wanted category
    std::vector<std::uint8_t> wanted_;      ///< by folder
    std::vector<std::uint8_t> unwanted_;    ///< by folder
};

}  // namespace KestrelCore
