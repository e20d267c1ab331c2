#pragma once

#include <string_view>

namespace KestrelCLI {

/// hosts/report/dist/report.html, which the build puts into the program.
[[nodiscard]] std::string_view reportTemplateText();

}  // namespace KestrelCLI
