#include "KestrelCore/Applications/ApplicationRecord.hpp"

#include "Base/Checked.hpp"

namespace KestrelCore {

std::string_view rawValue(ResidueConfidence confidence) {
    return confidence == ResidueConfidence::high ? "high" : "uncertain";
}

template <>
std::optional<ResidueConfidence> fromRawValue<ResidueConfidence>(std::string_view rawValue) {
    if (rawValue == "high") return ResidueConfidence::high;
    if (rawValue == "uncertain") return ResidueConfidence::uncertain;
    return std::nullopt;
}

std::int64_t ApplicationRecord::estimatedBytes() const {
    std::int64_t sum = 0;
    for (const ResidueCandidate& residue : residues)
        sum = Checked::add(sum, residue.allocatedBytes, "KestrelCore/Applications/ApplicationRecord");
    return sum;
}

}  // namespace KestrelCore

std::size_t std::hash<KestrelCore::ApplicationRecord>::operator()(const KestrelCore::ApplicationRecord& value) const {
    std::size_t hash =
        KestrelCore::Internal::hashOf(value.id, value.url, value.displayName, value.bundleIdentifier, value.version);
    for (const KestrelCore::ResidueCandidate& residue : value.residues)
        hash = static_cast<std::size_t>(
            KestrelCore::Internal::mixHash(hash, std::hash<KestrelCore::ResidueCandidate>{}(residue)));
    return hash;
}
