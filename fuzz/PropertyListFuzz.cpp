#include "Applications/Bundles/PropertyList.hpp"

#include <cstddef>
#include <cstdint>

/// Any bytes at all as a property list: binary, XML and text, as the first bytes tell.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    (void)KestrelCore::readPropertyList({reinterpret_cast<const char*>(data), size});
    return 0;
}
