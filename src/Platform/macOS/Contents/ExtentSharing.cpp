#include "Platform/ExtentSharing.hpp"

#include <cerrno>

// The system makes a clone as a new file and has no call that compares two files and lets one have the other's blocks.
// To put a clone into the place of an equal file would give it another identity, and lose what a program that holds the
// old one open writes to it from then on: no comparison before can rule that out, and this promises that nobody loses
// anything.

namespace KestrelCore {

bool canShareExtents() { return false; }

SharingResult shareExtents(const ContentFile&, const ContentFile&, std::int64_t, std::int64_t) {
    return {.outcome = SharingOutcome::unsupported, .bytes = 0, .errorNumber = ENOTSUP};
}

}  // namespace KestrelCore
