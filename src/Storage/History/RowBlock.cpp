#include "Storage/History/RowBlock.hpp"

#include <cstring>

namespace KestrelCore {

void RowBlock::addNames(std::string_view others, const std::vector<std::uint32_t>& ends, std::size_t row,
                        std::size_t length) {
    if (length == 0) return;
    const std::size_t begin = row == 0 ? 0 : ends[row - 1] + std::size_t{1};
    const std::size_t end = ends[row + length - 1] + std::size_t{1};
    const std::size_t shift = names.size() - begin;  // modulo 2^64, as what is added to it
    names.append(others, begin, end - begin);
    for (std::size_t i = row; i < row + length; ++i) nameEnds.push_back(static_cast<std::uint32_t>(shift + ends[i]));
}

bool RowBlock::takeNames(std::string bytes) {
    names = std::move(bytes);
    return findNameEnds(names, count, nameEnds);
}

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
