#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// How sure it is that a residue belongs to its application: `high` for a match of the whole identifier, `uncertain`
/// where only a name matches or a second application lays claim to it.
enum class ResidueConfidence : std::uint8_t { high, uncertain };

/// "high" or "uncertain"; also the form in JSON.
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(ResidueConfidence confidence);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<ResidueConfidence>
fromRawValue<ResidueConfidence>(std::string_view rawValue);

/// A file or folder that an application has left behind, outside its own bundle. A candidate: it is found by its name,
/// and nothing in it is looked at.
struct KESTRELCORE_EXPORT ResidueCandidate {
    UUID id;  ///< made fresh when the candidate is found
    URL url;
    std::int64_t allocatedBytes = 0;  ///< space on disk that it takes
    ResidueConfidence confidence = ResidueConfidence::high;
    Text evidence;  ///< why it matches, for a person

    /// Whether a user interface proposes to delete it.
    [[nodiscard]] bool selectedByDefault() const { return confidence == ResidueConfidence::high; }

    bool operator==(const ResidueCandidate&) const = default;
};

}  // namespace KestrelCore

/// The hash of the raw value.
template <>
struct std::hash<KestrelCore::ResidueConfidence> {
    std::size_t operator()(KestrelCore::ResidueConfidence confidence) const {
        return KestrelCore::Text{KestrelCore::rawValue(confidence)}.hash();
    }
};

template <>
struct std::hash<KestrelCore::ResidueCandidate> {
    std::size_t operator()(const KestrelCore::ResidueCandidate& value) const {
        return KestrelCore::Internal::hashOf(value.id, value.url, value.allocatedBytes, value.confidence,
                                             value.evidence);
    }
};
