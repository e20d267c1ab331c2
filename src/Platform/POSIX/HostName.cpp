#include "Platform/HostName.hpp"

#include <unistd.h>

#include <array>
#include <string_view>

namespace KestrelCore {

std::optional<Text> HostName::current() {
    std::array<char, 256> name{};  // the longest that POSIX has, and a NUL
    if (gethostname(name.data(), name.size() - 1) != 0) return std::nullopt;
    const std::string_view whole{name.data()};
    const std::string_view host = whole.substr(0, whole.find('.'));
    return host.empty() ? std::nullopt : std::optional{Text{host}};
}

}  // namespace KestrelCore
