#include "Platform/macOS/Trash/Portable/FoundationError.hpp"

#include "Base/FileManagerErrors.hpp"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace KestrelCore {

namespace {

int narrowed(long code) {
    return static_cast<int>(std::clamp<long>(code, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

PlatformError converted(const FoundationError& error, const Text& sentence) {
    const auto beneath =
        error.underlying == nullptr
            ? nullptr
            : std::make_shared<const PlatformError>(converted(*error.underlying, Text{error.underlying->description}));
    const auto domain =
        error.domain == "NSPOSIXErrorDomain" ? PlatformError::Domain::posix : PlatformError::Domain::fileManager;
    const Text& described = error.description.empty() ? sentence : Text{error.description};
    return {domain, error.domain.empty() ? PlatformError::fileWriteUnknown : narrowed(error.code), described, beneath};
}

}  // namespace

PlatformError trashError(const FoundationError& error, const Text& path) {
    // An errno value that permits nothing has the sentence about permission; what else failed has the plain one.
    const bool isPosix = error.domain == "NSPOSIXErrorDomain";
    return converted(error,
                     fileManagerError(FileOperation::trash, path, isPosix ? narrowed(error.code) : EIO).description());
}

}  // namespace KestrelCore
