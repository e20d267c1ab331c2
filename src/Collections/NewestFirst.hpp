#pragma once

#include "Base/Parallel.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

namespace KestrelCore {

/// The order of the libraries: newest first (no date counts as the most distant past), then by name in natural order,
/// then as they were. Gives each of `indices` its place.
[[nodiscard]] std::vector<std::uint32_t> newestFirstPlaces(const RecordStorage& storage,
                                                           std::span<const std::uint32_t> indices);
/// A record without anything in it, for places that are still to be filled.
[[nodiscard]] const FileRecord& blankRecord();

/// The records at `indices`, which ascend, in that order, each with the kind that `kindOf(index)` gives, on two
/// threads. An asset has a `record` and a `kind`.
template <typename Asset, typename KindOf>
[[nodiscard]] std::vector<Asset> newestFirst(const RecordStorage& storage, std::span<const std::uint32_t> indices,
                                             KindOf kindOf) {
    if (indices.empty()) return {};
    // Made in the order of the rows, where neighbours share a folder and lie near each other in memory. The places they
    // go to do not, so each is asked for some steps ahead.
    constexpr std::size_t ahead = 8;
    constexpr std::size_t cacheLine = 64;
    std::vector<Asset> assets;
    std::vector<std::uint32_t> places;
    const Asset blank{blankRecord(), kindOf(indices.front())};
    inParallel([&] { assets.resize(indices.size(), blank); }, [&] { places = newestFirstPlaces(storage, indices); });
    storage.makeRecords(indices, [&](std::size_t position, FileRecord&& record) {
        const auto* soon = reinterpret_cast<char*>(&assets[places[std::min(position + ahead, places.size() - 1)]]);
        for (std::size_t offset = 0; offset < sizeof(Asset); offset += cacheLine) __builtin_prefetch(soon + offset, 1);
        Asset& asset = assets[places[position]];
        asset.record = std::move(record);
        asset.kind = kindOf(indices[position]);
    });
    return assets;
}

}  // namespace KestrelCore
