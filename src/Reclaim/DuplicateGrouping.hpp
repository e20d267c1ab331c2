#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"
#include "KestrelCore/Reclaim/DuplicateOptions.hpp"
#include "Reclaim/DuplicateCandidates.hpp"
#include "Reclaim/DuplicateReading.hpp"
#include "Reclaim/TrackedFiles.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// Makes groups of files that were found equal: which one is kept, what may go, and what comes free. Refers to what it
/// is made with; for one thread.
class DuplicateGrouping {
public:
    DuplicateGrouping(const RecordStorage& storage, const DuplicateOptions& options,
                      const DuplicateCandidates& candidates, const std::vector<DuplicateReading>& readings)
        : storage_{storage}, options_{options}, candidates_{candidates}, readings_{readings} {}

    /// Of candidates by their numbers; at least two. Reads the indexes of the repositories around what may go.
    [[nodiscard]] DuplicateGroup group(std::span<const std::uint32_t> files);

private:
    /// Why the file at `path` must not be taken away although another one is equal: the safety policy says so, version
    /// control keeps it, or it is part of something that needs all of its files. Empty when nothing speaks against it.
    [[nodiscard]] std::optional<Text> protection(const Text& path);
    [[nodiscard]] bool isInKeptFolder(const DuplicateFile& file) const;
    [[nodiscard]] DuplicateReason reasonFor(const DuplicateFile& kept, const std::vector<DuplicateFile>& files) const;
    [[nodiscard]] bool isKeptBefore(const DuplicateFile& a, const DuplicateFile& b) const;

    const RecordStorage& storage_;
    const DuplicateOptions& options_;
    const DuplicateCandidates& candidates_;
    const std::vector<DuplicateReading>& readings_;
    TrackedFiles tracked_;
};

}  // namespace KestrelCore
