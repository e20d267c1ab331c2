#pragma once

#include "Platform/HostStatistics.hpp"
#include "Platform/NetworkInterfaces.hpp"
#include "Platform/PowerSources.hpp"
#include "Platform/ProcessDescriptions.hpp"
#include "Platform/ProcessInfo.hpp"
#include "Platform/ProcessTable.hpp"
#include "Platform/SystemSensors.hpp"
#include "Platform/ThermalState.hpp"
#include "Platform/Volumes.hpp"

#include <memory>
#include <string>

// The readers behind the platform's headers, with the folder they read as a parameter, so that they run on recorded
// trees too.

namespace KestrelCore {

[[nodiscard]] std::unique_ptr<HostStatistics> hostStatistics(const std::string& procFolder);
[[nodiscard]] std::unique_ptr<NetworkInterfaces> networkInterfaces(const std::string& procFolder);
[[nodiscard]] std::unique_ptr<PowerSources> powerSources(const std::string& sysFolder);
[[nodiscard]] std::unique_ptr<ThermalState> thermalState(const std::string& sysFolder);
[[nodiscard]] std::unique_ptr<Volumes> volumes(const std::string& procFolder, const std::string& sysFolder);
[[nodiscard]] std::unique_ptr<SystemSensors> systemSensors(const std::string& procFolder, const std::string& sysFolder);
[[nodiscard]] std::unique_ptr<ProcessDescriptions> processDescriptions(const std::string& procFolder);
[[nodiscard]] std::unique_ptr<ProcessTable> processTable(const std::string& procFolder);

/// Where a process's processor time comes from: the kernel's clock for it has nanoseconds, the recorded ticks have
/// hundredths of a second but exist without the process.
enum class ProcessorTimeSource { clock, ticks };
[[nodiscard]] std::unique_ptr<ProcessInfo> processInfo(const std::string& procFolder, ProcessorTimeSource source);

}  // namespace KestrelCore
