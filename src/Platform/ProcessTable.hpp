#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace KestrelCore {

/// Which processes there are. One thread at a time.
class ProcessTable {
public:
    virtual ~ProcessTable() = default;

    /// Replaces the content of `identifiers` (the caller keeps it, so that a pass allocates nothing new) with every
    /// process that this one may see, in the kernel's order. Empty when the listing fails.
    virtual void list(std::vector<std::int32_t>& identifiers) = 0;

    [[nodiscard]] static std::unique_ptr<ProcessTable> system();
};

}  // namespace KestrelCore
