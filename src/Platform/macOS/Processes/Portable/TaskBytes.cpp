#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

#include <algorithm>
#include <limits>

namespace KestrelCore::TaskBytes {
namespace {

std::int64_t asSigned(std::uint64_t bytes) {
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    return static_cast<std::int64_t>(std::min(bytes, most));
}

std::int64_t countAt(std::string_view bytes, std::size_t offset) {
    return std::max(0, numberAt<std::int32_t>(bytes, offset));
}

}  // namespace

std::optional<ProcessRecord> processRecord(std::string_view bytes) {
    using Layout = ProcessLayout;
    if (bytes.size() < Layout::size) return std::nullopt;
    const auto status = numberAt<std::uint32_t>(bytes, Layout::status);
    return ProcessRecord{.parentIdentifier = std::max(0, numberAt<std::int32_t>(bytes, Layout::parent)),
                         .user = numberAt<std::uint32_t>(bytes, Layout::user),
                         .started = {.seconds = numberAt<std::uint64_t>(bytes, Layout::startSeconds),
                                     .microseconds = numberAt<std::uint64_t>(bytes, Layout::startMicroseconds)},
                         .isStopped = status == Layout::stopped,
                         .isZombie = status == Layout::zombie};
}

std::optional<TaskRecord> taskRecord(std::string_view bytes) {
    using Layout = TaskLayout;
    if (bytes.size() < Layout::size) return std::nullopt;
    const auto userTime = numberAt<std::uint64_t>(bytes, Layout::userTime);
    const auto systemTime = numberAt<std::uint64_t>(bytes, Layout::systemTime);
    constexpr std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
    return TaskRecord{.virtualBytes = asSigned(numberAt<std::uint64_t>(bytes, Layout::virtualBytes)),
                      .residentBytes = asSigned(numberAt<std::uint64_t>(bytes, Layout::residentBytes)),
                      .processorTime = userTime + std::min(systemTime, most - userTime),
                      .threadCount = countAt(bytes, Layout::threads),
                      .runningThreadCount = countAt(bytes, Layout::runningThreads),
                      .priority = numberAt<std::int32_t>(bytes, Layout::priority)};
}

std::optional<ProcessTraffic> traffic(std::string_view usage) {
    if (usage.size() < UsageLayout::size) return std::nullopt;
    return ProcessTraffic{.readBytes = numberAt<std::uint64_t>(usage, UsageLayout::readBytes),
                          .writtenBytes = numberAt<std::uint64_t>(usage, UsageLayout::writtenBytes)};
}

std::optional<OpenFile> openFile(std::string_view bytes) {
    using Layout = OpenFileLayout;
    constexpr std::uint16_t kindMask = 0170000;  // S_IFMT
    constexpr std::uint16_t regular = 0100000;   // S_IFREG
    constexpr std::int64_t mostBlocks = (std::int64_t{1} << 50) / 512;
    if (bytes.size() < Layout::size) return std::nullopt;
    const auto blocks = numberAt<std::int64_t>(bytes, Layout::blocks);
    return OpenFile{.device = numberAt<std::uint32_t>(bytes, Layout::device),
                    .inode = numberAt<std::uint64_t>(bytes, Layout::inode),
                    .isRegular = (numberAt<std::uint16_t>(bytes, Layout::mode) & kindMask) == regular,
                    .isDeleted = numberAt<std::uint16_t>(bytes, Layout::links) == 0,
                    .allocatedBytes = std::clamp<std::int64_t>(blocks, 0, mostBlocks) * 512,
                    .path = textAt(bytes, Layout::path, Layout::pathBytes)};
}

}  // namespace KestrelCore::TaskBytes
