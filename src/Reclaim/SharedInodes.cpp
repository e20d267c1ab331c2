#include "Reclaim/SharedInodes.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/RowValues.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>

namespace KestrelCore {

namespace {

using Inode = std::pair<std::uint64_t, std::uint64_t>;  // device's position, number

constexpr std::uint64_t furtherLink = 0x80;

Inode inodeOf(const RowReader::Rows& rows, std::uint32_t i) {
    return {rows.value(HistoryField::device, i), rows.value(HistoryField::inode, i)};
}

bool hasInode(const RowReader::Rows& rows, std::uint32_t i) {
    return (rows.value(HistoryField::shape, i) & RowShape::noIdentity) == 0;
}

/// Calls `use(thread, reader, first, end)` for pieces of the files that are all of them together.
template <typename Use>
void eachPiece(const StreamView& files, HistoryFields fields, const Use& use) {
    const std::vector<StreamView::ChunkUse> uses = files.chunks();
    constexpr std::size_t mostThreads = 16;
    const std::size_t machine = std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, mostThreads);
    const auto threads = static_cast<unsigned>(std::clamp<std::size_t>(uses.size(), 1, machine));
    std::atomic<std::size_t> next = 0;
    onThreads(threads, [&](unsigned thread) {
        RowReader reader{files, fields, false};
        for (std::size_t at = next++; at < uses.size(); at = next++) {
            for (const StreamView::Span& span : uses[at].spans)
                use(thread, reader, span.position, span.position + span.count);
        }
    });
}

/// Where further names of files stand.
std::vector<std::uint32_t> furtherNames(const StreamView& files) {
    constexpr std::size_t mostThreads = 16;
    std::vector<std::vector<std::uint32_t>> parts(mostThreads);
    eachPiece(files, bit(HistoryField::kind),
              [&](unsigned thread, RowReader& reader, std::uint32_t position, std::uint32_t end) {
                  while (position < end) {
                      const RowReader::Rows some = reader.at(position);
                      const std::uint32_t count = std::min(some.count, end - position);
                      for (std::uint32_t i = 0; i < count; ++i) {
                          if ((some.value(HistoryField::kind, i) & furtherLink) != 0)
                              parts[thread].push_back(position + i);
                      }
                      position += count;
                  }
              });
    std::vector<std::uint32_t> all;
    for (const auto& part : parts) all.insert(all.end(), part.begin(), part.end());
    std::ranges::sort(all);
    return all;
}

constexpr HistoryFields inodeFields = bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::device) |
                                      bit(HistoryField::inode) | bit(HistoryField::logical) |
                                      bit(HistoryField::allocated);

}  // namespace

std::vector<SharedInode> sharedInodes(const OpenGeneration& generation, const FolderFacts& facts,
                                      const ItemClaims& claims) {
    const StreamView& files = generation.rows().files();
    const FolderTable& table = facts.table();
    std::vector<SharedInode> shared;
    if (claims.items().empty()) return shared;
    const std::vector<std::uint32_t> further = furtherNames(files);
    if (further.empty()) return shared;
    boost::unordered_flat_map<Inode, std::vector<std::uint32_t>> others;
    RowReader reader{files, inodeFields, false};
    for (const std::uint32_t file : further) {
        const RowReader::Rows row = reader.at(file);
        if (hasInode(row, 0)) others[inodeOf(row, 0)].push_back(claims.ofFile(file, table.folderOf(file)));
    }
    const auto addRange = [&](std::uint32_t item, std::uint32_t position, std::uint32_t end) {
        while (position < end) {
            const RowReader::Rows some = reader.at(position);
            const std::uint32_t count = std::min(some.count, end - position);
            for (std::uint32_t i = 0; i < count; ++i) {
                if ((some.value(HistoryField::kind, i) & furtherLink) != 0 || !hasInode(some, i)) continue;
                const auto names = others.find(inodeOf(some, i));
                if (names == others.end()) continue;
                const std::int64_t bytes = allocationOf(
                    {.allocated = some.value(HistoryField::allocated, i), .shape = some.value(HistoryField::shape, i)},
                    static_cast<std::int64_t>(some.value(HistoryField::logical, i)));
                shared.push_back({.bytes = bytes, .item = item, .others = std::move(names->second)});
                others.erase(names);
            }
            position += count;
        }
    };
    // As they stand, so that each chunk is read once.
    struct Range {
        std::uint32_t first;
        std::uint32_t end;
        std::uint32_t item;
    };
    std::vector<Range> ranges;
    for (std::uint32_t i = 0; i < claims.items().size(); ++i) {
        const FittingItem& item = claims.items()[i];
        if (item.isFile) {
            ranges.push_back({item.position, item.position + 1, i});
        } else {
            ranges.push_back({table.firstFile(item.position), table.endOfFilesBelow(item.position), i});
        }
    }
    std::ranges::sort(ranges, {}, &Range::first);
    for (const Range& range : ranges) addRange(range.item, range.first, range.end);
    return shared;
}

}  // namespace KestrelCore
