#include "Platform/HostStatistics.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>
#include <utility>

namespace KestrelCore {
namespace {

class LinuxHostStatistics final : public HostStatistics {
public:
    explicit LinuxHostStatistics(const std::string& procFolder)
        : statPath_{procFolder + "/stat"}, memoryPath_{procFolder + "/meminfo"} {}

    std::optional<ProcessorTicks> processorTicks() override {
        // The totals are the first line; the many lines after it are not wanted.
        char buffer[1024];
        const auto text = SystemFile::beginning(AT_FDCWD, statPath_.c_str(), buffer);
        return text ? ProcText::processorTicks(*text) : std::nullopt;
    }

    std::optional<MemoryStatistics> memory() override {
        const auto text = SystemFile::whole(AT_FDCWD, memoryPath_.c_str(), buffer_);
        return text ? ProcText::memory(*text, pageBytes()) : std::nullopt;
    }

    [[nodiscard]] std::int64_t pageBytes() const override { return sysconf(_SC_PAGESIZE); }

    [[nodiscard]] std::int64_t physicalMemoryBytes() const override {
        const std::int64_t pages = sysconf(_SC_PHYS_PAGES);
        return std::max<std::int64_t>(0, pages) * pageBytes();
    }

    /// Asked each time: processors can be switched off and on.
    [[nodiscard]] int activeProcessorCount() const override {
        return static_cast<int>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
    }

private:
    std::string statPath_;
    std::string memoryPath_;
    std::string buffer_;
};

}  // namespace

std::unique_ptr<HostStatistics> hostStatistics(const std::string& procFolder) {
    return std::make_unique<LinuxHostStatistics>(procFolder);
}

std::unique_ptr<HostStatistics> HostStatistics::system() { return hostStatistics("/proc"); }

}  // namespace KestrelCore
