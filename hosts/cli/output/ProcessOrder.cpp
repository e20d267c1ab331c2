#include "output/ProcessOrder.hpp"

#include <algorithm>

namespace KestrelCLI {

using KestrelCore::ProcessSample;

// Largest first for what is measured, and by name as a list of names is read.
void sortProcesses(std::vector<ProcessSample>& processes, ProcessOrder order) {
    std::ranges::sort(processes, [order](const ProcessSample& a, const ProcessSample& b) {
        switch (order) {
        case ProcessOrder::cpu:
            if (a.cpuPercent != b.cpuPercent) return a.cpuPercent > b.cpuPercent;
            break;
        case ProcessOrder::memory:
            if (a.residentBytes != b.residentBytes) return a.residentBytes > b.residentBytes;
            break;
        case ProcessOrder::name:
            if (const auto compared = a.name <=> b.name; compared != 0) return compared < 0;
            break;
        }
        // Most processes use nothing at a given moment: without an order of their own, they would jump about from page
        // to page.
        return a.id < b.id;
    });
}

}  // namespace KestrelCLI
