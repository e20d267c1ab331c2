#include "Platform/SystemName.hpp"

namespace KestrelCore {

std::string_view systemName() { return "linux"; }

}  // namespace KestrelCore
