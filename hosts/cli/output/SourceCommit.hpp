#pragma once

#include <string_view>

namespace KestrelCLI {

/// The state of the source that a program was built from.
struct SourceCommit {
    std::string_view name = {};  ///< 40 hexadecimal digits; empty where it is not known
    bool isChanged = false;      ///< whether files were changed since
};

/// That of this program. The build defines it in a source of `main.cpp`'s own, so that a new commit compiles that and
/// links the program, and nothing else.
[[nodiscard]] SourceCommit sourceCommit();

}  // namespace KestrelCLI
