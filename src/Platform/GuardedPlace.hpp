#pragma once

#include <string>

namespace KestrelCore {

/// A place that must not go with an item that is removed.
struct GuardedPlace {
    std::string path;            ///< raw, absolute; links in it are followed; need not exist
    bool withContent = false;    ///< what lies in it is guarded as well
    bool isOnlyIfThere = false;  ///< what would hold it is free as long as it does not exist
};

}  // namespace KestrelCore
