#include "KestrelCore/Model/SearchQuery.hpp"

#include "KestrelCore/Base/Hashing.hpp"

std::size_t std::hash<KestrelCore::SearchQuery>::operator()(const KestrelCore::SearchQuery& query) const {
    using namespace KestrelCore;
    std::uint64_t hash = Internal::mixHash(query.text.hash(), static_cast<std::uint64_t>(query.minimumBytes));
    for (const FileKind kind : query.kinds)
        hash = Internal::mixHash(hash, static_cast<std::uint64_t>(rawValue(kind)) + 1);
    if (query.modifiedAfter) hash = Internal::mixHash(hash, std::hash<Date>{}(*query.modifiedAfter));
    return static_cast<std::size_t>(hash);
}
