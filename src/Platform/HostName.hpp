#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>

namespace KestrelCore::HostName {

/// What this machine calls itself on the network, without the domain; empty where it has no name. Any thread.
[[nodiscard]] std::optional<Text> current();

}  // namespace KestrelCore::HostName
