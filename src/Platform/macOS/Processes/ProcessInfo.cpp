#include "Platform/ProcessInfo.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"
#include "Platform/macOS/Processes/Portable/MachTime.hpp"
#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"
#include "Platform/macOS/SystemControl.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <libproc.h>
#include <mach/mach_time.h>
#include <string_view>

// One process costs three calls: its figures, its name and its path. The system refuses the figures of other users'
// processes and of zombies, and then nothing more is asked.

namespace KestrelCore {
namespace {

using Layout = TaskBytes::TaskLayout;

static_assert(sizeof(proc_taskallinfo) == Layout::size);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_virtual_size) == Layout::virtualBytes);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_resident_size) == Layout::residentBytes);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_total_user) == Layout::userTime);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_total_system) == Layout::systemTime);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_threadnum) == Layout::threads);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_numrunning) == Layout::runningThreads);
static_assert(offsetof(proc_taskallinfo, ptinfo.pti_priority) == Layout::priority);

/// Fills `buffer` by a call that gives the number of bytes that it wrote; the text of these, absent when there is none.
/// What is no UTF-8 in it is repaired.
template <typename Call>
std::optional<Text> textFrom(Call call, std::int32_t processIdentifier) {
    std::array<char, PROC_PIDPATHINFO_MAXSIZE> buffer{};
    const int length = call(processIdentifier, buffer.data(), static_cast<std::uint32_t>(buffer.size()));
    if (length <= 0) return std::nullopt;
    return Text{std::string_view{buffer.data(), std::min(static_cast<std::size_t>(length), buffer.size())}};
}

/// The frequency comes first: a program for the other processor is told a timebase of its own, and processor times stay
/// in units of this one.
MachTimebase timebase() {
    const auto frequency = SystemControl::valueNamed<std::uint64_t>("hw.tbfrequency");
    if (const auto known = timebaseOfFrequency(frequency.value_or(0))) return *known;
    mach_timebase_info_data_t info{};
    if (mach_timebase_info(&info) != KERN_SUCCESS) return {};
    return {.numerator = info.numer, .denominator = info.denom};
}

class MacProcessInfo final : public ProcessInfo {
public:
    std::optional<ProcessDetails> details(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        proc_taskallinfo info{};
        if (proc_pidinfo(processIdentifier, PROC_PIDTASKALLINFO, 0, &info, sizeof info) != int{sizeof info})
            return std::nullopt;
        const auto process = TaskBytes::processRecord(bytesOf(info));
        const auto task = TaskBytes::taskRecord(bytesOf(info));
        if (!process || !task || process->isZombie) return std::nullopt;
        return ProcessDetails{.name = textFrom(proc_name, processIdentifier),
                              .executablePath = executablePath(processIdentifier),
                              .processorTime = fromMachTime(task->processorTime, timebase_),
                              .residentBytes = task->residentBytes,
                              .virtualBytes = task->virtualBytes,
                              .threadCount = task->threadCount,
                              .runningThreadCount = task->runningThreadCount,
                              .priority = task->priority};
    }

    std::optional<Text> executablePath(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        return textFrom(proc_pidpath, processIdentifier);
    }

private:
    const MachTimebase timebase_ = timebase();
};

}  // namespace

std::unique_ptr<ProcessInfo> ProcessInfo::system() { return std::make_unique<MacProcessInfo>(); }

}  // namespace KestrelCore
