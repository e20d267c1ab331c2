#pragma once

#include <string>
#include <string_view>

namespace KestrelCLI {

/// The bytes as one gzip file, made quickly rather than small. Any thread.
[[nodiscard]] std::string gzipped(std::string_view bytes);

}  // namespace KestrelCLI
