#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace KestrelCore {

/// What the system knows about one process. Raw: every rate, cap and placeholder is made above the platform.
struct ProcessDetails {
    std::optional<Text> name{};            ///< absent when the system has none
    std::optional<Text> executablePath{};  ///< absent for the kernel's own threads and where the system does not tell
    std::chrono::duration<std::uint64_t, std::nano> processorTime{};  ///< over all threads since the process started
    std::int64_t residentBytes = 0;                                   ///< physical memory held now
    std::int64_t virtualBytes = 0;                                    ///< address space taken
    std::int64_t threadCount = 0;
    std::int64_t runningThreadCount = 0;  ///< on a processor, or ready for one
    std::int64_t priority = 0;            ///< in the system's own scale
};

/// Looks at single processes. One thread at a time, as buffers may be kept between calls; but `executablePath` may be
/// called while another thread is in `details`.
class ProcessInfo {
public:
    virtual ~ProcessInfo() = default;

    /// Absent when the process is gone, is a zombie or may not be inspected: all are ordinary, and the caller skips it.
    [[nodiscard]] virtual std::optional<ProcessDetails> details(std::int32_t processIdentifier) = 0;

    /// The path of the executable that the process runs now, spelled exactly as in its details. A file that was removed
    /// or replaced since the process started still has its path on Linux; on macOS the path is then absent or another,
    /// so that who compares it must take either for another process. Any thread.
    [[nodiscard]] virtual std::optional<Text> executablePath(std::int32_t processIdentifier) = 0;

    [[nodiscard]] static std::unique_ptr<ProcessInfo> system();
};

}  // namespace KestrelCore
