#include "Platform/SystemLocations.hpp"

namespace KestrelCore {

// The rules that hold everywhere were made for macOS and name all of its places.
SystemLocations systemLocations() { return {}; }

}  // namespace KestrelCore
