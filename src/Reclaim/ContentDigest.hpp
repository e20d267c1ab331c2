#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Platform/ContentFile.hpp"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// A hash of 128 bits over some content (XXH3). Even, but no secret: whoever wants to can make two contents that have
/// the same.
struct ContentDigest {
    std::uint64_t high = 0;
    std::uint64_t low = 0;

    auto operator<=>(const ContentDigest&) const = default;
};

/// Hashes files. Keeps its memory between calls; for one thread.
class ContentDigester {
public:
    /// Files up to this length are read whole at once: opening them a second time would cost more.
    static constexpr std::int64_t longestOfOneRead = std::int64_t{1} << 15;

    ContentDigester();

    /// Of the beginning and the end of a file of the length with which it was opened, or of all of it where it is no
    /// longer than `longestOfOneRead`. Empty when less can be read than that.
    [[nodiscard]] std::optional<ContentDigest> ofEnds(const ContentFile& file);
    /// How much `ofEnds` reads of such a file.
    [[nodiscard]] static std::int64_t bytesOfEnds(std::int64_t length);

    /// Of everything. Holes cost nothing and count as the zeros that they read as, so that a file with holes equals its
    /// copy without. `onRead` is told of each piece. Empty when less can be read, or when it was cancelled.
    [[nodiscard]] std::optional<ContentDigest> ofAll(const ContentFile& file, const CancellationToken& cancellation,
                                                     const std::function<void(std::int64_t bytes)>& onRead);

private:
    std::vector<char> buffer_;
};

}  // namespace KestrelCore
