#include "KestrelCore/Platform/Linux/Trash.hpp"

namespace KestrelCore {

std::optional<URL> moveToTrash(const URL& url, const std::optional<ExpectedItem>&) {
    throw PlatformError{
        PlatformError::Domain::fileManager, PlatformError::featureUnsupported,
        Text::concatenating({"“", url.lastPathComponent().view(),
                             "” couldn’t be moved to the trash because this version can’t do that yet."})};
}

}  // namespace KestrelCore
