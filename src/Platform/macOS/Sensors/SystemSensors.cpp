#include "Platform/SystemSensors.hpp"

#include "Platform/macOS/Sensors/HostPort.hpp"
#include "Platform/macOS/Sensors/Portable/HostBytes.hpp"

#include <mach/mach.h>
#include <string_view>

namespace KestrelCore {
namespace {

static_assert(sizeof(processor_cpu_load_info_data_t) == HostBytes::TicksLayout::size);

class MacSystemSensors final : public SystemSensors {
public:
    std::vector<ProcessorTicks> processors() override {
        natural_t processorCount = 0;
        processor_info_array_t loads = nullptr;
        mach_msg_type_number_t numberCount = 0;
        if (host_processor_info(host_.get(), PROCESSOR_CPU_LOAD_INFO, &processorCount, &loads, &numberCount) !=
            KERN_SUCCESS)
            return {};
        const std::size_t size = numberCount * sizeof *loads;
        std::vector<ProcessorTicks> result =
            HostBytes::eachProcessorTicks({reinterpret_cast<const char*>(loads), size});
        // The kernel has put the answer into new pages of this process.
        vm_deallocate(mach_task_self(), reinterpret_cast<vm_address_t>(loads), size);
        return result;
    }

    // macOS keeps no account of what waited.
    std::optional<StallPercents> stalls() override { return std::nullopt; }

    // No documented interface of macOS tells a temperature; `ThermalState` is what it says instead.
    std::vector<Temperature> temperatures() override { return {}; }

private:
    HostPort host_;
};

}  // namespace

std::unique_ptr<SystemSensors> SystemSensors::system() { return std::make_unique<MacSystemSensors>(); }

}  // namespace KestrelCore
