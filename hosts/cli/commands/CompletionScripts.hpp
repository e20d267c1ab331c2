#pragma once

#include <string_view>

namespace KestrelCLI {

/// What "bash", "zsh" or "fish" loads to complete the words of kestrel; empty for any other shell.
[[nodiscard]] std::string_view completionScript(std::string_view shell);

}  // namespace KestrelCLI
