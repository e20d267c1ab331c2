#pragma once

#include "KestrelCore/Base/Hashing.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace KestrelCore {

/// One reading of one process. The name is for showing only: a process may call itself what it likes, and the system
/// may have cut it. What may be done to the process is asked with `ProcessControl`.
struct KESTRELCORE_EXPORT ProcessSample {
    std::int32_t id = 0;                   ///< process identifier
    Text name{};                           ///< "Process 1234" when the system has no name for it
    std::optional<Text> executablePath{};  ///< absent for the kernel's own threads and where the system does not tell
    double cpuPercent = 0;                 ///< of one processor: 100 is one busy core; since the previous reading
    std::int64_t residentBytes = 0;        ///< physical memory held
    std::int64_t virtualBytes = 0;         ///< address space taken
    std::int64_t threadCount = 0;
    std::int64_t runningThreadCount = 0;  ///< threads on a processor or ready for one
    std::int64_t priority = 0;            ///< in the system's own scale

    bool operator==(const ProcessSample&) const = default;
};

}  // namespace KestrelCore

template <>
struct std::hash<KestrelCore::ProcessSample> {
    std::size_t operator()(const KestrelCore::ProcessSample& sample) const {
        return KestrelCore::Internal::hashOf(sample.id, sample.name, sample.executablePath, sample.cpuPercent,
                                             sample.residentBytes, sample.virtualBytes, sample.threadCount,
                                             sample.runningThreadCount, sample.priority);
    }
};
