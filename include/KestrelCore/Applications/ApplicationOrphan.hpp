#pragma once

#include "KestrelCore/Applications/ResidueCandidate.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <vector>

namespace KestrelCore {

/// What an application left behind that is not installed any more, as far as names tell: it may as well live where no
/// list of applications leads, such as in a folder of its own. So every residue is `uncertain` and none is proposed;
/// its evidence says why it is here. A value, as `ApplicationRecord` is.
struct KESTRELCORE_EXPORT ApplicationOrphan {
    Text identifier;                         ///< which no installed application has
    std::vector<ResidueCandidate> residues;  ///< at least one, in the order of the search

    /// The sum of the residues' sizes. Stops the process on overflow.
    [[nodiscard]] std::int64_t estimatedBytes() const;

    bool operator==(const ApplicationOrphan&) const = default;
};

}  // namespace KestrelCore
