#pragma once

#include <string>
#include <vector>

namespace KestrelCLI {

/// One sentence for each word of a query that the search takes otherwise than its writer probably meant: an unknown
/// kind
/// ("type:foldr"), a size that is none (">10qb"), a filter with nothing after it, a pattern with "*", or bounds that no
/// item can meet. The result of the search stays what it is.
[[nodiscard]] std::vector<std::string> searchHints(const std::string& query);

}  // namespace KestrelCLI
