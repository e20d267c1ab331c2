#pragma once

#include <functional>
#include <ostream>
#include <string>

namespace KestrelCLI {

enum class ExistingFile {
    keep,    ///< it is an error
    replace  ///< it gives way, once the new one is whole
};

/// Makes the file at `path`, with what `write` writes. It is written beside its place and put there when it is whole: a
/// failure leaves nothing behind, and nobody sees a half. A device or a pipe at the place is written to directly.
///
/// Throws an exception with a finished sentence, and what `write` throws.
void writeWholeFile(const std::string& path, ExistingFile existing, const std::function<void(std::ostream&)>& write);

}  // namespace KestrelCLI
