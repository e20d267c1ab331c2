#pragma once

#include "report/ReportTree.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <unordered_map>
#include <vector>

namespace KestrelCLI {

/// Into which class of `SummaryAges` something belongs; the one behind the last for what has no date.
class ReportAges {
public:
    /// Ages count back from `now`, whole seconds since 1970.
    explicit ReportAges(std::int64_t now) : now_{now} {}

    [[nodiscard]] std::size_t classOf(std::optional<std::int64_t> modified) const;
    /// How many classes there are, that of unknown age with them.
    [[nodiscard]] static std::size_t count();

private:
    std::int64_t now_;
};

/// The items of a folder that are not shown one by one, with all that lies in them.
struct ReportRest {
    struct Sum {
        std::int64_t items = 0;
        std::int64_t bytes = 0;
    };

    std::int64_t items = 0;  ///< of every kind
    std::int64_t bytes = 0;
    /// The files among them by category * `ReportAges::count()` + class of age. What lies in a package is part of an
    /// application, as it is for a summary of the folder.
    std::map<std::uint32_t, Sum> files;
};

/// Which items of a tree a report shows.
struct ReportSelection {
    /// Rising; the first is the tree's first. An item stands after the folder that it lies in.
    std::vector<std::uint32_t> shown;
    /// What lies in a shown folder and is not shown itself, by the folder's place in `shown`.
    std::unordered_map<std::uint32_t, ReportRest> rests;
};

/// The `most` largest items (at least 1; absent: all), of equal ones the upper ones first. A folder is taken before
/// what lies in it, so none stands alone.
[[nodiscard]] ReportSelection reportSelection(const ReportTree& tree, std::optional<std::size_t> most,
                                              const ReportAges& ages);

}  // namespace KestrelCLI
