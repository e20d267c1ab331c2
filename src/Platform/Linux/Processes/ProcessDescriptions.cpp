#include "Platform/ProcessDescriptions.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/UserNames.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <fmt/format.h>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

// As with the figures of a process, its folder is opened once and everything is read relative to it, so that all of it
// speaks of one process.

namespace KestrelCore {
namespace {

constexpr std::size_t longestCommandLine = 4096;

class LinuxProcessDescriptions final : public ProcessDescriptions {
public:
    explicit LinuxProcessDescriptions(std::string procFolder) : procFolder_{std::move(procFolder)} {}

    std::optional<ProcessFacts> facts(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        const FileDescriptor folder{
            open(fmt::format("{}/{}", procFolder_, processIdentifier).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
        if (!folder.isOpen()) return std::nullopt;
        char statusBuffer[2048];
        const auto statusText = SystemFile::beginning(folder.get(), "stat", statusBuffer);
        const auto status = ProcText::processStatus(statusText.value_or(std::string_view{}));
        if (!status || status->isDead()) return std::nullopt;

        ProcessFacts facts;
        facts.parentIdentifier = status->parentIdentifier;
        facts.isKernelThread = status->isKernelThread;
        facts.isFrozen = status->state == 'T';
        facts.startedSince1970 = startTime(status->startTicks);
        if (const auto text = SystemFile::beginning(folder.get(), "status", buffer_)) {
            if (const auto user = ProcText::effectiveUser(*text)) facts.user = users_.nameOf(*user);
        }
        if (!status->isKernelThread) {
            const auto text = SystemFile::beginning(folder.get(), "cmdline", buffer_);
            const std::string line = ProcText::commandLine(text.value_or(std::string_view{}));
            if (!line.empty()) facts.commandLine = Text{line};
        }
        if (const auto text = SystemFile::beginning(folder.get(), "io", buffer_))
            facts.traffic = ProcText::traffic(*text);
        return facts;
    }

private:
    std::optional<double> startTime(std::uint64_t ticks) {
        static const auto perSecond = static_cast<double>(std::max(1L, sysconf(_SC_CLK_TCK)));
        if (!bootTime_) {
            std::string text;
            const auto got = SystemFile::whole(AT_FDCWD, (procFolder_ + "/stat").c_str(), text);
            bootTime_ = ProcText::bootTime(got.value_or(std::string_view{}));
        }
        if (!bootTime_) return std::nullopt;
        return static_cast<double>(*bootTime_) + static_cast<double>(ticks) / perSecond;
    }

    std::string procFolder_;
    std::array<char, longestCommandLine> buffer_{};
    UserNames users_;
    std::optional<std::uint64_t> bootTime_;
};

}  // namespace

std::unique_ptr<ProcessDescriptions> processDescriptions(const std::string& procFolder) {
    return std::make_unique<LinuxProcessDescriptions>(procFolder);
}

std::unique_ptr<ProcessDescriptions> ProcessDescriptions::system() { return processDescriptions("/proc"); }

}  // namespace KestrelCore
