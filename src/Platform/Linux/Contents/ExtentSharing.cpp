#include "Platform/ExtentSharing.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/ContentFile.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <linux/fs.h>
#include <sys/ioctl.h>

namespace KestrelCore {

namespace {

/// Errors by which kernels and file systems say that they can't; EXDEV: not between these two.
SharingResult refused(int errorNumber) {
    const bool isUnsupported = errorNumber == EOPNOTSUPP || errorNumber == ENOTTY || errorNumber == EINVAL ||
                               errorNumber == ENOSYS || errorNumber == EXDEV;
    return {.outcome = isUnsupported ? SharingOutcome::unsupported : SharingOutcome::failed,
            .bytes = 0,
            .errorNumber = errorNumber};
}

}  // namespace

bool canShareExtents() { return true; }

SharingResult shareExtents(const ContentFile& source, const ContentFile& destination, std::int64_t offset,
                           std::int64_t bytes) {
    file_dedupe_range head{};
    head.src_offset = static_cast<std::uint64_t>(offset);
    head.src_length = static_cast<std::uint64_t>(bytes);
    head.dest_count = 1;
    file_dedupe_range_info to{};
    to.dest_fd = destination.descriptor();
    to.dest_offset = static_cast<std::uint64_t>(offset);
    // The header ends in an array of no length; one element goes behind it.
    alignas(file_dedupe_range) std::array<char, sizeof head + sizeof to> request{};
    std::memcpy(request.data(), &head, sizeof head);
    std::memcpy(request.data() + sizeof head, &to, sizeof to);
    const int result =
        repeatedWhenInterrupted([&] { return ioctl(source.descriptor(), FIDEDUPERANGE, request.data()); });
    if (result != 0) return refused(errno);
    std::memcpy(&to, request.data() + sizeof head, sizeof to);
    if (to.status == FILE_DEDUPE_RANGE_DIFFERS)
        return {.outcome = SharingOutcome::differs, .bytes = 0, .errorNumber = 0};
    if (to.status < 0) return refused(-to.status);
    if (to.bytes_deduped == 0) return refused(EINVAL);
    return {.outcome = SharingOutcome::shared, .bytes = static_cast<std::int64_t>(to.bytes_deduped), .errorNumber = 0};
}

}  // namespace KestrelCore
