#include "output/UTF8.hpp"

#include <cstdint>
#include <unicode/utf8.h>

namespace KestrelCLI {

UTF8Step firstUTF8(std::string_view bytes) {
    const auto* const units = reinterpret_cast<const std::uint8_t*>(bytes.data());
    std::size_t length = 0;
    UChar32 scalar = 0;
    U8_NEXT(units, length, bytes.size(), scalar);
    if (scalar < 0) return {std::nullopt, length};
    return {static_cast<char32_t>(scalar), length};
}

}  // namespace KestrelCLI
