#include "Platform/POSIX/UserNames.hpp"

#include <array>
#include <fmt/format.h>
#include <pwd.h>

namespace KestrelCore {

const Text& UserNames::nameOf(std::uint32_t user) {
    const auto [place, isNew] = names_.try_emplace(user);
    if (isNew) {
        passwd entry{};
        passwd* found = nullptr;
        std::array<char, 16384> texts{};
        const bool isKnown = getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr;
        place->second = isKnown ? Text{entry.pw_name} : Text{fmt::to_string(user)};
    }
    return place->second;
}

}  // namespace KestrelCore
