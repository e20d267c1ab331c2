#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <cstdint>
#include <memory>
#include <optional>

namespace KestrelCore {

/// What a process read from disks and wrote to them since it started.
struct ProcessTraffic {
    std::uint64_t readBytes = 0;
    std::uint64_t writtenBytes = 0;
};

/// Raw: rates are made above the platform.
struct ProcessFacts {
    std::int32_t parentIdentifier = 0;         ///< 0 for none that can be seen
    std::optional<Text> user{};                ///< name or number of the user it acts for
    std::optional<Text> commandLine{};         ///< at most 4096 bytes, well-formed; absent when empty
    std::optional<double> startedSince1970{};  ///< seconds
    bool isKernelThread = false;
    bool isFrozen = false;
    std::optional<ProcessTraffic> traffic{};  ///< absent for what is another user's, where the system keeps it secret
};

/// Looks at single processes. One thread at a time.
class ProcessDescriptions {
public:
    virtual ~ProcessDescriptions() = default;

    /// Absent when the process is gone, is a zombie or may not be looked at.
    [[nodiscard]] virtual std::optional<ProcessFacts> facts(std::int32_t processIdentifier) = 0;

    [[nodiscard]] static std::unique_ptr<ProcessDescriptions> system();
};

}  // namespace KestrelCore
