#pragma once

#include "report/ReportSelection.hpp"
#include "report/ReportTree.hpp"

#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/Growth.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// What a report says beside its tree.
struct ReportFacts {
    KestrelCore::Generation scan;
    std::string host;         ///< where it was scanned; empty where that is not known
    std::string version;      ///< of this program
    std::int64_t madeAt = 0;  ///< whole seconds since 1970; ages count back from it
    bool isBinary = false;    ///< sizes in units of 1024
    /// Since an earlier scan, of the folder of the tree: every change for the colours, and as many as a person reads
    /// for the table, the small ones summed up in their folders. Both or none.
    std::optional<KestrelCore::Growth> growth{};
    std::optional<KestrelCore::Growth> growthTable{};
};

// The data of a page, as its script reads them (hosts/report/source/data.js):
//
//     4 bytes   length of the head, the lowest first
//     head      JSON: what the page says, and the length of each column in bytes
//     columns   one after the other, each with a value for each item, in the order of the selection
//
// A number in a column has seven bits in each byte, the lowest first, and the eighth set in all but the last byte. A
// size is 2 * (bytes / 4096) where it is a multiple, else 2 * bytes + 1. What may be below zero alternates: 0, -1, 1,
// -2.
//
//     what      a byte: the type; 16 more for a further hard link, 32 more for a folder with a rest
//     counts    of a folder or package how many items of it are shown: the next ones that no folder before it has
//     sizes     a size: without what lies in it
//     dates     0 where it is not known; else 1 more than the alternating difference, in minutes since 1970, to the
//               last known one before
//     names     UTF-8, each with a zero byte behind it
//     rests     of a folder with a rest: how many items, their size, how many classes of files; and of each the class
//               (category * number of ages + age), how many files, their size
//     changes   alternating: by how many bytes the item, with what lies in it, grew. Only with growth

/// The block for the tree, as it is before it is compressed.
[[nodiscard]] std::string reportData(const ReportTree& tree, const ReportSelection& selection,
                                     const ReportFacts& facts);

}  // namespace KestrelCLI
