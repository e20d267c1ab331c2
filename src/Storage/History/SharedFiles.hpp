#pragma once

#include "Storage/History/GrowthSide.hpp"
#include "Storage/History/StreamView.hpp"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace KestrelCore {

/// Which files two generations share: rows of the generations that both rest on.
class SharedFiles {
public:
    SharedFiles(const StreamView& before, const StreamView& after);

    /// How many layers both rest on.
    [[nodiscard]] std::uint32_t layers() const { return common_; }

    /// Files of one folder on both sides, taken apart. All as positions.
    struct Parts {
        std::vector<RowRange> before;   ///< that the later one does not share
        std::vector<RowRange> after;    ///< that the earlier one does not share
        std::vector<RowRange> changed;  ///< shared rows with another size now: position before, and after
    };
    void takeApart(const RowRange& before, const RowRange& after, Parts& parts);

private:
    struct Piece {
        std::uint32_t layer;
        std::uint32_t index;
        std::uint32_t count;
        std::uint32_t position;

        [[nodiscard]] bool comesBefore(const Piece& other) const {
            return layer != other.layer ? layer < other.layer : index < other.index;
        }
    };

    /// Leaves out the first rows of a piece; 1 when none are left.
    static std::ptrdiff_t drop(Piece& piece, std::uint32_t count) {
        piece.index += count;
        piece.position += count;
        piece.count -= count;
        return piece.count == 0 ? 1 : 0;
    }

    void collect(const StreamView& view, const RowRange& files, std::vector<Piece>& shared,
                 std::vector<RowRange>& others) const;

    const StreamView& before_;
    const StreamView& after_;
    std::uint32_t common_ = 0;                         ///< layers
    std::vector<std::vector<std::uint32_t>> changed_;  ///< of each of these, rows
    std::vector<Piece> beforePieces_;
    std::vector<Piece> afterPieces_;
};

}  // namespace KestrelCore
