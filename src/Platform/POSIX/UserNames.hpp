#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstdint>
#include <unordered_map>

namespace KestrelCore {

/// The names of users by their numbers, each asked once: the answer may come from far away. One thread at a time.
class UserNames {
public:
    /// The number itself for a user without a name. Valid for as long as this object.
    [[nodiscard]] const Text& nameOf(std::uint32_t user);

private:
    std::unordered_map<std::uint32_t, Text> names_;
};

}  // namespace KestrelCore
