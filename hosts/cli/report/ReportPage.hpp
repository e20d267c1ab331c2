#pragma once

#include <functional>
#include <ostream>
#include <string_view>

namespace KestrelCLI {

/// The page without data, as hosts/report builds it: the place of the data is between the two.
struct ReportTemplate {
    std::string_view before;
    std::string_view after;
};
[[nodiscard]] ReportTemplate reportTemplate();

/// Writes the page with `data` in it, compressed and in digits to the base 85: whatever names hold, none of it is
/// markup. `proceed` is called between pieces, and may throw.
void writeReportPage(std::ostream& out, std::string_view data, const std::function<void()>& proceed);

}  // namespace KestrelCLI
