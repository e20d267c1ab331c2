#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// One file, however many names it has.
struct DuplicateCandidate {
    FileIdentity identity;
    std::int64_t bytes = 0;       ///< length
    std::uint32_t firstName = 0;  ///< position in `DuplicateCandidates::names`
    std::uint32_t nameCount = 0;
};

/// The files of a scan that may have an equal: of each length at least two different ones.
struct DuplicateCandidates {
    /// What lies below `folder` and is at least `smallestBytes` long. Empty when it was cancelled.
    [[nodiscard]] static std::optional<DuplicateCandidates> of(const RecordStorage& storage, const Text& folder,
                                                               std::int64_t smallestBytes,
                                                               const CancellationToken& cancellation);

    std::vector<std::uint32_t> names;       ///< indices of records, those of one file together, in the scan's order
    std::vector<DuplicateCandidate> files;  ///< by length, the longest first
    std::int64_t looked = 0;                ///< names that were long enough
    std::int64_t linkNames = 0;             ///< of these, further names of one file

    [[nodiscard]] std::span<const std::uint32_t> namesOf(const DuplicateCandidate& file) const {
        return std::span{names}.subspan(file.firstName, file.nameCount);
    }
};

}  // namespace KestrelCore
