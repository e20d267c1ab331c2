#include "Storage/History/RowBlock.hpp"

#include <cstring>

namespace KestrelCore {

bool RowBlock::takeNames(std::string bytes) {
    names = std::move(bytes);
    nameEnds.clear();
    nameEnds.reserve(count);
    const char* const begin = names.data();
    const char* const end = begin + names.size();
    for (const char* at = begin; at != end; ++at) {
        at = static_cast<const char*>(std::memchr(at, '/', static_cast<std::size_t>(end - at)));
        if (at == nullptr || nameEnds.size() == count) return false;
        nameEnds.push_back(static_cast<std::uint32_t>(at - begin));
    }
    return nameEnds.size() == count;
}

}  // namespace KestrelCore
