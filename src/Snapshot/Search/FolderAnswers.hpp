#pragma once

#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/Search/SearchIndex.hpp"
#include "Snapshot/Search/SearchPattern.hpp"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace KestrelCore {

/// For one search: which folders' lowercased paths contain which patterns, one bit a pattern. Fixed once it is built.
///
/// A pattern without "/" occurs in a path exactly when it occurs in one of its components, so a folder inherits its
/// parent's answers and adds those of its own name: no path is joined. A pattern with "/" may span components; for it
/// there is a second answer, whether the path ends in such a way that a name in the folder could complete the pattern.
class FolderAnswers {
public:
    /// Patterns beyond this number get no answers.
    static constexpr std::size_t mostPatterns = 64;
    using Bits = std::uint64_t;

    FolderAnswers() = default;  ///< about no folder
    FolderAnswers(const RecordStorage& storage, const SearchIndex& index, std::span<const SearchPattern> patterns);

    /// Bit i: the path of the folder contains patterns[i].
    [[nodiscard]] Bits contained(RecordStorage::FolderIndex folder) const { return contained_[folder]; }
    /// Bit i: patterns[i] has a "/", and the path of a record in the folder may contain it across their border.
    [[nodiscard]] Bits completable(RecordStorage::FolderIndex folder) const {
        return completable_.empty() ? 0 : completable_[folder];
    }

private:
    void answerInNames(const RecordStorage& storage, const SearchIndex& index, std::span<const SearchPattern> patterns,
                       Bits asked);
    void answerInPaths(const RecordStorage& storage, std::span<const SearchPattern> patterns, Bits asked);

    std::vector<Bits> contained_;
    std::vector<Bits> completable_;  ///< empty when no pattern has a "/"
};

}  // namespace KestrelCore
