#pragma once

#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <span>
#include <string_view>

namespace KestrelCore {

/// A class of files by how long ago they were changed, as a summary by age has them.
struct SummaryAge {
    std::string_view name;         ///< such as "30 to 90 days"
    std::int64_t mostSeconds = 0;  ///< that old at most, and older than those of the class before
};

/// The one table of these classes.
class KESTRELCORE_EXPORT SummaryAges {
public:
    SummaryAges() = delete;

    /// The youngest first; the last one has no end. A time to come is in the first.
    [[nodiscard]] static std::span<const SummaryAge> all();
    /// The name of the class of files without a date.
    [[nodiscard]] static std::string_view unknown();
};

}  // namespace KestrelCore
