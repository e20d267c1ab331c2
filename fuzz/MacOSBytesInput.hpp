#pragma once

#include "Base/FatalError.hpp"
#include "Platform/macOS/Processes/Portable/MachTime.hpp"
#include "Platform/macOS/Processes/Portable/ProcessArguments.hpp"
#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"
#include "Platform/macOS/Sensors/Portable/HostBytes.hpp"
#include "Platform/macOS/Sensors/Portable/InterfaceData.hpp"
#include "Platform/macOS/Sensors/Portable/InterfaceMessages.hpp"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore::Fuzzing {

inline void expectOfMacOS(bool holds, const char* promise) {
    if (!holds) fatalError("fuzz/MacOSBytes", promise);
}

inline void exerciseHostBytes(std::string_view bytes) {
    const auto first = HostBytes::processorTicks(bytes);
    const auto each = HostBytes::eachProcessorTicks(bytes);
    expectOfMacOS(first.has_value() == !each.empty(), "Both readers see the first processor");
    expectOfMacOS(each.size() <= bytes.size() / HostBytes::TicksLayout::size, "Processors are there");
    const std::size_t split =
        bytes.size() < HostBytes::MemoryLayout::size ? bytes.size() : HostBytes::MemoryLayout::size;
    const auto memory = HostBytes::memory(bytes.substr(0, split), bytes.substr(split), 16384);
    if (!memory) return;
    expectOfMacOS(memory->swapUsedBytes >= 0 && memory->swapTotalBytes.value_or(0) >= 0, "Swap is not below 0");
    expectOfMacOS(memory->cacheBytes.value_or(0) >= 0, "The cache is not below 0");
}

inline void exerciseInterfaces(std::string_view bytes) {
    // The list of before must leave nothing behind.
    std::vector<InterfaceCounters> interfaces(3);
    readInterfaceMessages(bytes, interfaces);
    expectOfMacOS(interfaces.size() <= bytes.size() / InterfaceLayout::size, "Interfaces are there");
    for (const InterfaceCounters& interface : interfaces) {
        expectOfMacOS(!interface.name.empty() && interface.name.size() <= 255, "An interface has a name");
        expectOfMacOS(interface.name.find('\0') == std::string::npos, "A name is a text");
    }
    if (!readInterfaceData(bytes, interfaces)) return;
    expectOfMacOS(interfaces.size() <= bytes.size() / InterfaceDataLayout::size, "Interfaces are there");
    for (const InterfaceCounters& interface : interfaces)
        expectOfMacOS(!interface.name.empty() && interface.name.size() <= 16, "An interface has a name");
}

inline void exerciseTasks(std::string_view bytes) {
    const auto process = TaskBytes::processRecord(bytes);
    const auto task = TaskBytes::taskRecord(bytes);
    expectOfMacOS(process || !task, "The first part is there where both are");
    if (process) expectOfMacOS(process->parentIdentifier >= 0, "A parent is not below 0");
    if (task) {
        expectOfMacOS(task->virtualBytes >= 0 && task->residentBytes >= 0, "Sizes are not below 0");
        expectOfMacOS(task->threadCount >= 0 && task->runningThreadCount >= 0, "Counts are not below 0");
        expectOfMacOS(fromMachTime(task->processorTime, {125, 3}).count() >= task->processorTime,
                      "Nanoseconds are more than units");
    }
    (void)TaskBytes::traffic(bytes);
    if (const auto file = TaskBytes::openFile(bytes)) {
        expectOfMacOS(file->allocatedBytes >= 0 && file->allocatedBytes <= std::int64_t{1} << 50, "Sizes are bounded");
        expectOfMacOS(file->path.size() <= TaskBytes::OpenFileLayout::pathBytes, "A path is in its field");
    }
}

inline void exerciseArguments(std::string_view bytes) {
    for (const std::size_t most : {std::size_t{0}, std::size_t{7}, std::size_t{4096}}) {
        const std::string line = argumentsIn(bytes, most);
        expectOfMacOS(line.size() <= most && line.size() <= bytes.size(), "Arguments are bounded");
        expectOfMacOS(!line.ends_with(' ') && line.find('\0') == std::string::npos, "Arguments are one line");
    }
}

/// Any bytes as the answer to one of the questions that are asked of macOS: the first one says to which. Stops the
/// process when a promise is broken.
inline void exerciseMacOSBytes(std::string_view input) {
    if (input.empty()) return;
    const std::string_view bytes = input.substr(1);
    switch (static_cast<unsigned char>(input.front()) % 4) {
    case 0: exerciseHostBytes(bytes); break;
    case 1: exerciseInterfaces(bytes); break;
    case 2: exerciseTasks(bytes); break;
    default: exerciseArguments(bytes);
    }
}

}  // namespace KestrelCore::Fuzzing
