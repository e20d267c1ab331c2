#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Storage/Generation.hpp"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace KestrelCore {

/// What became of an item between two generations.
enum class GrowthChangeKind : std::uint8_t {
    grew,      ///< takes more, or as much as before, of what has changed in it
    shrank,    ///< takes less
    appeared,  ///< is there now only
    gone,      ///< was there before only
    moved,     ///< a folder that stands at another path now
};

/// One change. It tells of a file, or of a folder without what other changes of the list tell of: so none counts twice.
struct KESTRELCORE_EXPORT GrowthChange {
    Text path;  ///< as the later generation has it; of what is gone, as the earlier one has it
    FileKind kind = FileKind::file;
    GrowthChangeKind what = GrowthChangeKind::grew;
    /// Allocated bytes of what the change tells of, before and now; a hard link that was counted elsewhere has none.
    std::int64_t before = 0;
    std::int64_t after = 0;
    /// Of a folder that is new, gone or moved, how many items lie in it; of another folder how many have changed in it,
    /// itself counted where its own size has; of a file 1.
    std::int64_t items = 0;
    std::optional<Text> movedFrom{};  ///< of what has moved: its path before

    /// Bytes by which it grew; below 0 when it shrank.
    [[nodiscard]] std::int64_t change() const { return after - before; }
    bool operator==(const GrowthChange&) const = default;
};

/// How two generations of a folder differ.
struct KESTRELCORE_EXPORT Growth {
    Generation since;
    Generation until;
    Text path;  ///< the folder that was compared, or the file
    std::int64_t before = 0;
    std::int64_t after = 0;
    /// Largest change in bytes first, equal ones by path. The changes add up to the change of all, however few are
    /// told.
    std::vector<GrowthChange> changes;

    [[nodiscard]] std::int64_t totalChange() const { return after - before; }
};

/// How much is told by itself. What is not is told with the folder that it lies in: many small changes in one folder
/// are one large one there.
struct GrowthOptions {
    std::optional<std::size_t> depth{};  ///< levels below the path; 0: all in one
    std::optional<std::size_t> most{};   ///< as many changes at most
};

}  // namespace KestrelCore
