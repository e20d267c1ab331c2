#include "Platform/ProcessDescriptions.hpp"

#include "Platform/POSIX/UserNames.hpp"
#include "Platform/macOS/Portable/ByteFields.hpp"
#include "Platform/macOS/Processes/Portable/ProcessArguments.hpp"
#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"
#include "Platform/macOS/Processes/ProcessQueries.hpp"

#include <algorithm>
#include <cstddef>
#include <libproc.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/sysctl.h>

namespace KestrelCore {
namespace {

using Layout = TaskBytes::UsageLayout;

static_assert(sizeof(rusage_info_v2) == Layout::size);
static_assert(offsetof(rusage_info_v2, ri_diskio_bytesread) == Layout::readBytes);
static_assert(offsetof(rusage_info_v2, ri_diskio_byteswritten) == Layout::writtenBytes);

constexpr std::size_t longestCommandLine = 4096;

std::optional<ProcessTraffic> trafficOf(std::int32_t processIdentifier) {
    rusage_info_v2 usage{};
    if (proc_pid_rusage(processIdentifier, RUSAGE_INFO_V2, reinterpret_cast<rusage_info_t*>(&usage)) != 0)
        return std::nullopt;
    return TaskBytes::traffic(bytesOf(usage));
}

class MacProcessDescriptions final : public ProcessDescriptions {
public:
    std::optional<ProcessFacts> facts(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        const auto process = queriedProcess(processIdentifier);
        if (!process) return std::nullopt;
        ProcessFacts facts;
        facts.parentIdentifier = process->parentIdentifier;
        facts.user = users_.nameOf(process->user);
        facts.startedSince1970 = static_cast<double>(process->started.seconds) +
                                 static_cast<double>(process->started.microseconds) / 1'000'000;
        facts.isFrozen = process->isStopped;
        const std::string line = argumentsIn(argumentBytes(processIdentifier), longestCommandLine);
        if (!line.empty()) facts.commandLine = Text{line};
        facts.traffic = trafficOf(processIdentifier);
        return facts;
    }

private:
    /// Empty when the system keeps them to itself. A buffer that is shorter than what there is would get the end of it,
    /// and the arguments stand at the beginning: so it is as long as they may be.
    std::string_view argumentBytes(std::int32_t processIdentifier) {
        if (buffer_.empty()) {
            int name[] = {CTL_KERN, KERN_ARGMAX};
            int most = 0;
            std::size_t size = sizeof most;
            if (sysctl(name, 2, &most, &size, nullptr, 0) != 0) return {};
            buffer_.resize(static_cast<std::size_t>(std::clamp(most, 1 << 12, 1 << 24)));
        }
        int name[] = {CTL_KERN, KERN_PROCARGS2, processIdentifier};
        std::size_t size = buffer_.size();
        if (sysctl(name, 3, buffer_.data(), &size, nullptr, 0) != 0) return {};
        return std::string_view{buffer_}.substr(0, size);
    }

    std::string buffer_;
    UserNames users_;
};

}  // namespace

std::unique_ptr<ProcessDescriptions> ProcessDescriptions::system() {
    return std::make_unique<MacProcessDescriptions>();
}

}  // namespace KestrelCore
