#pragma once

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/Text.hpp"

#include <memory>
#include <string>

namespace KestrelCore {

/// An error object of Foundation, as it was read.
struct FoundationError {
    std::string domain;       ///< such as "NSCocoaErrorDomain"
    long code = 0;            ///< of that domain
    std::string description;  ///< a finished sentence in the user's language; may be empty
    std::shared_ptr<const FoundationError> underlying;
};

/// The same as an error of ours for an item that did not go to the Trash. Codes and sentences stay as they are, also
/// those of domains that no other part knows: those count as the file manager's, whose numbers they never are. Without
/// a sentence the system's own for a failed move stands there; without a domain the code of an unknown failure.
[[nodiscard]] PlatformError trashError(const FoundationError& error, const Text& path);

}  // namespace KestrelCore
