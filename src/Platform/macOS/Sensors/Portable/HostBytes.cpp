#include "Platform/macOS/Sensors/Portable/HostBytes.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

#include <algorithm>
#include <limits>

namespace KestrelCore::HostBytes {
namespace {

/// Sizes are signed everywhere above; the kernel's are not.
std::int64_t asSigned(std::uint64_t bytes) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(bytes, most));
}

}  // namespace

std::optional<ProcessorTicks> processorTicks(std::string_view load) {
    using Layout = TicksLayout;
    if (load.size() < Layout::size) return std::nullopt;
    return ProcessorTicks{.user = numberAt<std::uint32_t>(load, Layout::user),
                          .system = numberAt<std::uint32_t>(load, Layout::system),
                          .idle = numberAt<std::uint32_t>(load, Layout::idle),
                          .nice = numberAt<std::uint32_t>(load, Layout::nice)};
}

std::vector<ProcessorTicks> eachProcessorTicks(std::string_view loads) {
    constexpr std::size_t mostProcessors = 4096;
    std::vector<ProcessorTicks> result;
    while (result.size() < mostProcessors) {
        const auto ticks = processorTicks(loads);
        if (!ticks) break;
        result.push_back(*ticks);
        loads.remove_prefix(TicksLayout::size);
    }
    return result;
}

std::optional<MemoryStatistics> memory(std::string_view statistics, std::string_view swap, std::int64_t pageBytes) {
    using Layout = MemoryLayout;
    if (statistics.size() < Layout::size || pageBytes <= 0) return std::nullopt;
    MemoryStatistics result{.activePages = numberAt<std::uint32_t>(statistics, Layout::active),
                            .inactivePages = numberAt<std::uint32_t>(statistics, Layout::inactive),
                            .wiredPages = numberAt<std::uint32_t>(statistics, Layout::wired),
                            .compressorPages = numberAt<std::uint32_t>(statistics, Layout::compressor)};
    // A page is below 2^31 bytes on every machine, so that the product of 32 bits each fits.
    constexpr std::int64_t largestPage = std::numeric_limits<std::int32_t>::max();
    result.cacheBytes =
        std::int64_t{numberAt<std::uint32_t>(statistics, Layout::external)} * std::min(pageBytes, largestPage);
    if (swap.size() >= SwapLayout::size) {
        result.swapUsedBytes = asSigned(numberAt<std::uint64_t>(swap, SwapLayout::used));
        result.swapTotalBytes = asSigned(numberAt<std::uint64_t>(swap, SwapLayout::total));
    }
    return result;
}

}  // namespace KestrelCore::HostBytes
