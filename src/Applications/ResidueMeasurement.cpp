#include "Applications/ResidueMeasurement.hpp"

namespace KestrelCore {

std::int64_t measuredResidueBytes(const FileManager& fileManager, const URL& url) {
    if (const auto below = fileManager.allocatedBytesBelow(url)) return *below;
    return fileManager.allocatedBytes(url).value_or(0);
}

bool isResidueName(const Text& identifier) {
    const std::string_view bytes = identifier.view();
    return !bytes.empty() && bytes != "." && bytes != ".." && bytes.find('/') == std::string_view::npos &&
           bytes.find('\0') == std::string_view::npos;
}

}  // namespace KestrelCore
