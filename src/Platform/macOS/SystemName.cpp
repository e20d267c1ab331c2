#include "Platform/SystemName.hpp"

namespace KestrelCore {

std::string_view systemName() { return "macos"; }

}  // namespace KestrelCore
