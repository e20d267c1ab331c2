#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace KestrelCore {

/// What is known of a process beyond its `ProcessSample`. The texts are for showing only: a process may call itself
/// what it likes.
struct KESTRELCORE_EXPORT ProcessDescription {
    std::int32_t id = 0;
    std::int32_t parentId = 0;   ///< 0 for the first process, for the kernel's own, and across a boundary of view
    std::optional<Text> user{};  ///< the name of the user it acts for, else that one's number
    std::optional<Text> commandLine{};  ///< its arguments with blanks between, at most 4 kB; absent where it has none
    std::optional<Date> startedAt{};
    bool isKernelThread = false;              ///< a part of the system itself, without a program
    bool isFrozen = false;                    ///< was stopped, and goes on when it is told to
    std::optional<std::int64_t> readBytes{};  ///< from disks since it started; absent where that is not for us to know
    std::optional<std::int64_t> writtenBytes{};
    std::optional<std::int64_t>
        readBytesPerSecond{};  ///< since the previous call; 0 at the first sight; absent as above
    std::optional<std::int64_t> writtenBytesPerSecond{};

    bool operator==(const ProcessDescription&) const = default;
};

/// Describes processes. Disk rates are since the previous call, whoever made that. Calls from any thread run one at a
/// time.
class KESTRELCORE_EXPORT ProcessInspector {
public:
    ProcessInspector();
    ProcessInspector(const ProcessInspector&) = delete;
    ProcessInspector& operator=(const ProcessInspector&) = delete;
    ~ProcessInspector();

    /// In the order asked for; processes that are gone or may not be looked at are left out. Never fails.
    [[nodiscard]] std::vector<ProcessDescription> describe(std::span<const std::int32_t> identifiers);

private:
    friend struct SamplerAccess;
    struct State;
    explicit ProcessInspector(std::shared_ptr<State> state);

    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
