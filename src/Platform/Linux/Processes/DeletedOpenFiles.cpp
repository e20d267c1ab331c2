#include "Platform/DeletedOpenFiles.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/POSIX/DeletedFiles.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/ProcessTable.hpp"

#include <algorithm>
#include <array>
#include <climits>
#include <fcntl.h>
#include <optional>
#include <string_view>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>

// Each open file of a process is a link in /proc/PID/fd. Its text ends in " (deleted)" where the file has no name any
// more, which is looked at first: to look at the file itself could take long on a slow file system. What the text says
// is not proof, as a file may be called so; that the file has no links is.

namespace KestrelCore {

namespace {

constexpr std::string_view mark = " (deleted)";

/// What the link is to, up to the mark; absent where there is none.
std::optional<std::string> deletedPath(int folder, const char* name) {
    std::array<char, PATH_MAX> target{};
    const ssize_t size = readlinkat(folder, name, target.data(), target.size());
    if (size <= 0) return std::nullopt;
    const std::string_view text{target.data(), static_cast<std::size_t>(size)};
    if (!text.starts_with('/') || !text.ends_with(mark)) return std::nullopt;
    return std::string{text.substr(0, text.size() - mark.size())};
}

/// What is known of the file without asking its file system again: one that does not answer must not be waited for.
std::optional<struct statx> statusOf(int folder, const char* name) {
    struct statx status {};
    if (::statx(folder, name, AT_STATX_DONT_SYNC, STATX_BASIC_STATS, &status) != 0) return std::nullopt;
    return status;
}

/// Bounded, since a file system may say anything.
std::int64_t allocatedBytes(const struct statx& status) {
    constexpr std::uint64_t mostBlocks = (std::uint64_t{1} << 50) / 512;
    return static_cast<std::int64_t>(std::min<std::uint64_t>(status.stx_blocks, mostBlocks) * 512);
}

std::string nameOfProcess(const std::string& folder) {
    std::string name = SystemFile::attribute(folder + "/comm");
    while (name.ends_with('\n')) name.pop_back();
    return name;
}

}  // namespace

std::vector<DeletedOpenFile> deletedOpenFiles(const std::string& folder) {
    struct stat top {};
    if (stat(folder.c_str(), &top) != 0) return {};
    DeletedFiles files;
    std::vector<std::int32_t> processes;
    ProcessTable::system()->list(processes);
    DirectoryEntries listing;
    for (const std::int32_t process : processes) {
        const std::string place = "/proc/" + std::to_string(process);
        const FileDescriptor open{repeatedWhenInterrupted(
            [&] { return ::open((place + "/fd").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })};
        std::optional<std::string> name;
        while (open.isOpen() && listing.readPiece(open.get())) {
            while (const ListedEntry* entry = listing.next()) {
                const auto path = deletedPath(open.get(), entry->name.data());
                const auto status = path ? statusOf(open.get(), entry->name.data()) : std::nullopt;
                if (!status || makedev(status->stx_dev_major, status->stx_dev_minor) != top.st_dev) continue;
                if (status->stx_nlink != 0 || !S_ISREG(status->stx_mode)) continue;
                if (!name) name = nameOfProcess(place);
                files.add(top.st_dev, status->stx_ino, *path, allocatedBytes(*status),
                          {.processIdentifier = process, .name = *name});
            }
        }
    }
    return std::move(files).largestFirst();
}

}  // namespace KestrelCore
