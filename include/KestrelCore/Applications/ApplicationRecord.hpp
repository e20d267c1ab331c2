#pragma once

#include "KestrelCore/Applications/ResidueCandidate.hpp"
#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace KestrelCore {

/// An installed application and what it has left behind. A value: it stays what it was when its listing was made,
/// whatever happens on the disk meanwhile, so each residue is to be looked at again before it is removed.
struct KESTRELCORE_EXPORT ApplicationRecord {
    UUID id;  ///< made fresh each time the record is built: not the same in two listings
    URL url;  ///< the application as its folder listed it
    Text displayName;
    std::optional<Text> bundleIdentifier;
    std::optional<Text> version;
    std::vector<ResidueCandidate> residues;  ///< in the order of the search

    /// The sum of the residues' sizes; the application's own size is no part of it. Stops the process on overflow.
    [[nodiscard]] std::int64_t estimatedBytes() const;

    bool operator==(const ApplicationRecord&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ApplicationRecord> {
    std::size_t operator()(const KestrelCore::ApplicationRecord& value) const;
};
