#include "Platform/HostStatistics.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"
#include "Platform/macOS/Sensors/HostPort.hpp"
#include "Platform/macOS/Sensors/Portable/HostBytes.hpp"
#include "Platform/macOS/SystemControl.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <mach/vm_page_size.h>
#include <unistd.h>

namespace KestrelCore {
namespace {

using HostBytes::MemoryLayout;
using HostBytes::SwapLayout;
using HostBytes::TicksLayout;

static_assert(sizeof(host_cpu_load_info_data_t) == TicksLayout::size);
static_assert(CPU_STATE_USER * sizeof(natural_t) == TicksLayout::user);
static_assert(CPU_STATE_SYSTEM * sizeof(natural_t) == TicksLayout::system);
static_assert(CPU_STATE_IDLE * sizeof(natural_t) == TicksLayout::idle);
static_assert(CPU_STATE_NICE * sizeof(natural_t) == TicksLayout::nice);

static_assert(sizeof(vm_statistics64_data_t) == MemoryLayout::size);
static_assert(offsetof(vm_statistics64_data_t, active_count) == MemoryLayout::active);
static_assert(offsetof(vm_statistics64_data_t, inactive_count) == MemoryLayout::inactive);
static_assert(offsetof(vm_statistics64_data_t, wire_count) == MemoryLayout::wired);
static_assert(offsetof(vm_statistics64_data_t, compressor_page_count) == MemoryLayout::compressor);
static_assert(offsetof(vm_statistics64_data_t, external_page_count) == MemoryLayout::external);

static_assert(sizeof(xsw_usage) == SwapLayout::size);
static_assert(offsetof(xsw_usage, xsu_total) == SwapLayout::total);
static_assert(offsetof(xsw_usage, xsu_used) == SwapLayout::used);

class MacHostStatistics final : public HostStatistics {
public:
    std::optional<ProcessorTicks> processorTicks() override {
        host_cpu_load_info_data_t load{};
        mach_msg_type_number_t count = HOST_CPU_LOAD_INFO_COUNT;
        if (host_statistics(host_.get(), HOST_CPU_LOAD_INFO, reinterpret_cast<host_info_t>(&load), &count) !=
            KERN_SUCCESS)
            return std::nullopt;
        return HostBytes::processorTicks(bytesOf(load));
    }

    std::optional<MemoryStatistics> memory() override {
        vm_statistics64_data_t statistics{};
        mach_msg_type_number_t count = HOST_VM_INFO64_COUNT;
        if (host_statistics64(host_.get(), HOST_VM_INFO64, reinterpret_cast<host_info64_t>(&statistics), &count) !=
            KERN_SUCCESS)
            return std::nullopt;
        const auto swap = SystemControl::valueNamed<xsw_usage>("vm.swapusage");
        return HostBytes::memory(bytesOf(statistics), swap ? bytesOf(*swap) : std::string_view{}, pageBytes());
    }

    /// Pages of the kernel: a program for the other processor has smaller ones.
    [[nodiscard]] std::int64_t pageBytes() const override { return static_cast<std::int64_t>(vm_kernel_page_size); }

    [[nodiscard]] std::int64_t physicalMemoryBytes() const override {
        constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
        return static_cast<std::int64_t>(
            std::min(most, SystemControl::valueNamed<std::uint64_t>("hw.memsize").value_or(0)));
    }

    /// Asked each time: processors can be switched off and on.
    [[nodiscard]] int activeProcessorCount() const override {
        int name[] = {CTL_HW, HW_AVAILCPU};
        int count = 0;
        std::size_t size = sizeof count;
        if (sysctl(name, 2, &count, &size, nullptr, 0) == 0 && size == sizeof count && count > 0) return count;
        return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    }

private:
    HostPort host_;
};

}  // namespace

std::unique_ptr<HostStatistics> HostStatistics::system() { return std::make_unique<MacHostStatistics>(); }

}  // namespace KestrelCore
