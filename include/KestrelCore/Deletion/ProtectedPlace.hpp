#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <string>

namespace KestrelCore {

/// A place that the host needs, such as its database: an item that is it, holds it or lies in it is refused, by
/// whatever links, mounts or layers either is reached.
struct ProtectedPlace {
    std::string path;  ///< raw bytes, absolute; links in it are followed; it need not exist
    Text reason;       ///< the refusal as a finished sentence
};

}  // namespace KestrelCore
