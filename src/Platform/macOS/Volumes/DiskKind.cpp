#include "Platform/DiskKind.hpp"

namespace KestrelCore {

DiskKind diskKind(std::uint64_t) { return DiskKind::unknown; }

}  // namespace KestrelCore
