#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// `text` as one word of a command that a person can copy to a shell, in quotes where it needs any. Empty where it
/// can't be shown as it is: it holds what a terminal would act on.
[[nodiscard]] std::optional<std::string> shellWord(std::string_view text);

}  // namespace KestrelCLI
