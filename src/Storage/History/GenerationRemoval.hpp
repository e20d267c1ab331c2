#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Storage/History/GenerationWriting.hpp"
#include "Storage/History/OpenGeneration.hpp"

#include <vector>

namespace KestrelCore {

/// Whether the generation is one that `writeRemoval` made.
[[nodiscard]] bool isRemoval(const StoredGeneration& generation);

/// Writes what is left of `generation` without `paths`, as `ScanSnapshot::removing` means it, and puts into `stored`
/// what comes of it: the layout, counts and the total. `stored` begins as the generation's own, with its new number and
/// base; false, and nothing written, when no path is in the generation.
///
/// The base is `generation` itself, or, of a removal, what that is a difference to. So a removal is never the base of
/// another generation, and takes the place of the one before it. Reads the folders, and of files what lies where
/// something goes; records that share a path are taken out together.
[[nodiscard]] bool writeRemoval(const OpenGeneration& generation, const std::vector<Text>& paths,
                                StoredGeneration& stored, const ColumnSink& sink);

/// What is left of a removal when some of it is taken back.
enum class RemovalRest {
    unchanged,  ///< nothing of it is taken back
    some,
    nothing  ///< it is what it was made from
};

/// Writes what `removal`, a difference to `base`, is when what it took out at `paths` is in it again, beneath them too;
/// for the rest as above. `stored` begins as the base's. Nothing is written when it is unchanged. What went with a
/// folder comes back with that folder only.
[[nodiscard]] RemovalRest writeRemovalWithout(const OpenGeneration& base, const OpenGeneration& removal,
                                              const std::vector<Text>& paths, StoredGeneration& stored,
                                              const ColumnSink& sink);

}  // namespace KestrelCore
