#include "Applications/DesktopEntry.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Any bytes at all as a desktop entry, in a language that the corpus knows.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    (void)KestrelCore::DesktopEntry::parse({reinterpret_cast<const char*>(data), size}, "de_AT.UTF-8@euro");
    return 0;
}
