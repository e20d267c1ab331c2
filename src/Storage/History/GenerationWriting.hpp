#pragma once

#include "Storage/History/SnapshotRows.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace KestrelCore {

/// Takes a packed column. Called by one thread at a time, chunk after chunk.
using ColumnSink = std::function<void(const ColumnKey& key, std::string&& packed)>;

/// Writes numbers in as many chunks as they need, from `key` on; kept even where all are zero.
void writeNumbers(const std::vector<std::uint64_t>& numbers, ColumnKey key, const ColumnSink& sink);

/// Writes all rows as a full generation. Packs on two threads where there are two.
[[nodiscard]] GenerationLayout writeFull(const SnapshotRows& rows, std::int64_t generation, const ColumnSink& sink);

/// Writes what is different from `base`. Both must number extensions and devices alike and count ages from the same
/// day, and the rows' identifiers must be `inPlace`. Compares and packs on two threads where there are two.
[[nodiscard]] GenerationLayout writeDifference(const SnapshotRows& rows, const GenerationRows& base,
                                               std::int64_t generation, const ColumnSink& sink);

}  // namespace KestrelCore
