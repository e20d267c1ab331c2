#include "KestrelCore/Platform/Linux/SafeRemoval.hpp"

namespace KestrelCore {

void removeSafely(const URL& url, const std::optional<ExpectedItem>&) {
    throw PlatformError{PlatformError::Domain::fileManager, PlatformError::featureUnsupported,
                        Text::concatenating({"“", url.lastPathComponent().view(),
                                             "” couldn’t be removed because this version can’t do that yet."})};
}

}  // namespace KestrelCore
