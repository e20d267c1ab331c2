#include "Platform/ProcessInfo.hpp"

#include "Platform/Linux/Processes/ProcText.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/SystemReaders.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"

#include <algorithm>
#include <climits>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <fmt/format.h>
#include <limits>
#include <span>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// One process costs an open folder, its `stat`, `statm` and `exe`, and its processor clock. The folder is opened once
// and everything is read relative to it: cheaper than whole paths, and all of it speaks of one process, since an open
// folder of a process that has ended does not turn into that of the next one with the same identifier. The clock is the
// exception, for it goes by number; so `statm` is read after it and fails if the process was gone by then.

namespace KestrelCore {
namespace {

using ProcessorTime = std::chrono::duration<std::uint64_t, std::nano>;

FileDescriptor openedFolder(int folder, const char* name) {
    return FileDescriptor{openat(folder, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC)};
}

/// The folder of one process. /proc itself is not kept open: a descriptor would pin it, and a system that is mounted
/// there later would never be seen.
FileDescriptor openedProcess(const std::string& procFolder, std::int32_t processIdentifier) {
    char path[PATH_MAX];
    const auto [end, length] = fmt::format_to_n(path, sizeof path - 1, "{}/{}", procFolder, processIdentifier);
    *end = '\0';
    return openedFolder(AT_FDCWD, path);
}

/// Whether the file that `folder`/exe runs is the one named `path` now.
bool isNamed(int folder, const char* path) {
    struct stat running {};
    struct stat named {};
    return fstatat(folder, "exe", &running, 0) == 0 && stat(path, &named) == 0 && running.st_dev == named.st_dev &&
           running.st_ino == named.st_ino;
}

/// The path of the executable behind the folder of a process, in `buffer`; empty when there is none to be told. The
/// kernel marks a file that was removed or replaced by a suffix that a real name may have too. Every user of a path
/// must see the same spelling, so this is the only place that reads the link.
std::string_view executablePathIn(int folder, std::span<char> buffer) {
    constexpr std::string_view deleted = " (deleted)";
    const ssize_t length = readlinkat(folder, "exe", buffer.data(), buffer.size() - 1);
    if (length <= 0) return {};
    buffer[static_cast<std::size_t>(length)] = '\0';
    std::string_view path{buffer.data(), static_cast<std::size_t>(length)};
    if (path.ends_with(deleted) && !isNamed(folder, buffer.data())) path.remove_suffix(deleted.size());
    return path;
}

std::optional<ProcessorTime> clockTime(std::int32_t processIdentifier) {
    clockid_t clock{};
    timespec time{};
    if (clock_getcpuclockid(processIdentifier, &clock) != 0 || clock_gettime(clock, &time) != 0) return std::nullopt;
    return ProcessorTime{static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000U +
                         static_cast<std::uint64_t>(time.tv_nsec)};
}

/// Hundredths of a second as nanoseconds; a recorded text may claim more than there is room for.
ProcessorTime tickTime(std::uint64_t ticks) {
    static const auto perSecond = static_cast<std::uint64_t>(std::max(1L, sysconf(_SC_CLK_TCK)));
    const std::uint64_t perTick = 1'000'000'000U / perSecond;
    return ProcessorTime{std::min(ticks, std::numeric_limits<std::uint64_t>::max() / perTick) * perTick};
}

/// How many threads run or could: those in state R. Each has a text of its own below the process's folder.
std::int64_t runningThreads(int folder, DirectoryEntries& listing) {
    const FileDescriptor tasks = openedFolder(folder, "task");
    std::int64_t running = 0;
    while (tasks.isOpen() && listing.readPiece(tasks.get())) {
        while (const ListedEntry* entry = listing.next()) {
            if (!ProcText::processIdentifier(entry->name)) continue;
            char name[32];
            const std::size_t length = entry->name.size();
            if (length + sizeof "/stat" > sizeof name) continue;
            std::memcpy(name, entry->name.data(), length);
            std::memcpy(name + length, "/stat", sizeof "/stat");
            char buffer[1024];
            const auto text = SystemFile::beginning(tasks.get(), name, buffer);
            if (text && ProcText::processState(*text) == 'R') ++running;
        }
    }
    return running;
}

class LinuxProcessInfo final : public ProcessInfo {
public:
    LinuxProcessInfo(const std::string& procFolder, ProcessorTimeSource timeSource)
        : procFolder_{procFolder}, timeSource_{timeSource}, pageBytes_{sysconf(_SC_PAGESIZE)} {}

    std::optional<ProcessDetails> details(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        const FileDescriptor folder = openedProcess(procFolder_, processIdentifier);
        if (!folder.isOpen()) return std::nullopt;

        char statusBuffer[2048];
        const auto statusText = SystemFile::beginning(folder.get(), "stat", statusBuffer);
        if (!statusText) return std::nullopt;
        const auto status = ProcText::processStatus(*statusText);
        if (!status || status->isDead()) return std::nullopt;

        std::optional<ProcessorTime> time;
        if (timeSource_ == ProcessorTimeSource::clock) time = clockTime(processIdentifier);

        char memoryBuffer[256];
        const auto memoryText = SystemFile::beginning(folder.get(), "statm", memoryBuffer);
        if (!memoryText) return std::nullopt;
        const auto resident = ProcText::residentBytes(*memoryText, pageBytes_);
        if (!resident) return std::nullopt;

        ProcessDetails details;
        details.processorTime = time.value_or(tickTime(status->processorTicks));
        details.threadCount = status->threadCount;
        details.runningThreadCount =
            status->threadCount > 1 ? runningThreads(folder.get(), tasks_) : (status->state == 'R' ? 1 : 0);
        details.priority = status->priority;
        std::string_view executablePath;
        char pathBuffer[PATH_MAX];
        if (!status->isKernelThread) {
            details.residentBytes = *resident;
            details.virtualBytes = status->virtualBytes;
            executablePath = executablePathIn(folder.get(), pathBuffer);
            if (!executablePath.empty()) details.executablePath = Text{executablePath};
        }
        details.name = fullName(folder.get(), *status, executablePath);
        return details;
    }

    std::optional<Text> executablePath(std::int32_t processIdentifier) override {
        if (processIdentifier <= 0) return std::nullopt;
        const FileDescriptor folder = openedProcess(procFolder_, processIdentifier);
        if (!folder.isOpen()) return std::nullopt;
        char buffer[PATH_MAX];
        const std::string_view path = executablePathIn(folder.get(), buffer);
        if (path.empty()) return std::nullopt;
        return Text{path};
    }

private:
    /// The command line is read only for a name that the kernel has cut and the executable's path does not complete.
    static std::optional<Text> fullName(int folder, const ProcText::ProcessStatus& status,
                                        std::string_view executablePath) {
        std::string_view name = ProcText::fullName(status.name, executablePath, {});
        char buffer[4096];
        if (name.size() == status.name.size() && ProcText::mayBeCut(name) && !status.isKernelThread) {
            const auto commandLine = SystemFile::beginning(folder, "cmdline", buffer);
            name = ProcText::fullName(status.name, {}, commandLine.value_or(std::string_view{}));
        }
        if (name.empty()) return std::nullopt;
        return Text{name};
    }

    const std::string procFolder_;
    const ProcessorTimeSource timeSource_;
    const std::int64_t pageBytes_;
    DirectoryEntries tasks_;  ///< used by `details` alone
};

}  // namespace

std::unique_ptr<ProcessInfo> processInfo(const std::string& procFolder, ProcessorTimeSource source) {
    return std::make_unique<LinuxProcessInfo>(procFolder, source);
}

std::unique_ptr<ProcessInfo> ProcessInfo::system() { return processInfo("/proc", ProcessorTimeSource::clock); }

}  // namespace KestrelCore
