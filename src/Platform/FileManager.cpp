#include "KestrelCore/Platform/FileManager.hpp"

#include "Base/Checked.hpp"

namespace KestrelCore {

FileManager::~FileManager() = default;

void FileManager::beginRequest() {}

void FileManager::endRequest() {}

// For implementations that have nothing faster, and for fakes: the same sum by way of the URLs.
std::optional<std::int64_t> FileManager::allocatedBytesBelow(const URL& url) const {
    std::int64_t sum = 0;
    const bool isEnumerated = enumerate(url, [&sum](const URL&, std::optional<std::int64_t> bytes) {
        sum = Checked::add(sum, bytes.value_or(0), "KestrelCore/Platform/FileManager");
        return true;
    });
    if (!isEnumerated) return std::nullopt;
    return sum;
}

}  // namespace KestrelCore
