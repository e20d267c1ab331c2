#include "Platform/macOS/SystemControl.hpp"

#include <algorithm>
#include <cerrno>

namespace KestrelCore::SystemControl {

std::optional<std::string_view> bytes(std::vector<int> name, std::string& buffer) {
    // What is told may grow between the question for its size and the one for itself.
    constexpr int mostTries = 8;
    const auto parts = static_cast<unsigned>(name.size());
    for (int tries = 0; tries < mostTries; ++tries) {
        std::size_t size = 0;
        if (sysctl(name.data(), parts, nullptr, &size, nullptr, 0) != 0) return std::nullopt;
        size += size / 4;
        buffer.resize(std::max(buffer.size(), size));
        size = buffer.size();
        if (sysctl(name.data(), parts, buffer.data(), &size, nullptr, 0) == 0)
            return std::string_view{buffer}.substr(0, size);
        if (errno != ENOMEM) return std::nullopt;
    }
    return std::nullopt;
}

}  // namespace KestrelCore::SystemControl
