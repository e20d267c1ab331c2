#include "Storage/History/RowBlock.hpp"

#include <cstring>

namespace KestrelCore {

bool findNameEnds(std::string_view names, std::size_t count, std::vector<std::uint32_t>& ends) {
    ends.resize(count);
    const char* const begin = names.data();
    const char* const end = begin + names.size();
    const char* at = begin;
    for (std::uint32_t& nameEnd : ends) {
        if (at == end) return false;
        at = static_cast<const char*>(std::memchr(at, '/', static_cast<std::size_t>(end - at)));
        if (at == nullptr) return false;
        nameEnd = static_cast<std::uint32_t>(at++ - begin);
    }
    return at == end;
}

}  // namespace KestrelCore
