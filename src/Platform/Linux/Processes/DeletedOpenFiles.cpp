#include "Platform/DeletedOpenFiles.hpp"

#include "Base/BoundedRetry.hpp"
#include "Platform/Linux/SystemFile.hpp"
#include "Platform/Linux/Walk/FolderListing.hpp"
#include "Platform/POSIX/FileDescriptor.hpp"
#include "Platform/ProcessTable.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <functional>
#include <limits.h>
#include <map>
#include <optional>
#include <string_view>
#include <sys/stat.h>
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

std::string nameOfProcess(const std::string& folder) {
    std::string name = SystemFile::attribute(folder + "/comm");
    while (name.ends_with('\n')) name.pop_back();
    return name;
}

}  // namespace

std::vector<DeletedOpenFile> deletedOpenFiles(const std::string& folder) {
    struct stat top {};
    if (stat(folder.c_str(), &top) != 0) return {};
    std::map<std::pair<dev_t, ino_t>, DeletedOpenFile> files;
    std::vector<std::int32_t> processes;
    ProcessTable::system()->list(processes);
    FolderListing listing;
    for (const std::int32_t process : processes) {
        const std::string place = "/proc/" + std::to_string(process);
        const FileDescriptor open{repeatedWhenInterrupted(
            [&] { return ::open((place + "/fd").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); })};
        std::optional<std::string> name;
        while (open.isOpen() && listing.readPiece(open.get())) {
            while (const ListedEntry* entry = listing.next()) {
                const auto path = deletedPath(open.get(), entry->name.data());
                struct stat status {};
                if (!path || fstatat(open.get(), entry->name.data(), &status, 0) != 0) continue;
                if (status.st_dev != top.st_dev || status.st_nlink != 0 || !S_ISREG(status.st_mode)) continue;
                DeletedOpenFile& file = files[{status.st_dev, status.st_ino}];
                file.path = *path;
                file.allocatedBytes = static_cast<std::int64_t>(status.st_blocks) * 512;
                if (!name) name = nameOfProcess(place);
                FileHolder holder{.processIdentifier = process, .name = *name};
                if (std::ranges::find(file.holders, holder) == file.holders.end())
                    file.holders.push_back(std::move(holder));
            }
        }
    }
    std::vector<DeletedOpenFile> result;
    result.reserve(files.size());
    for (auto& [identity, file] : files) result.push_back(std::move(file));
    std::ranges::stable_sort(result, std::greater{}, &DeletedOpenFile::allocatedBytes);
    return result;
}

}  // namespace KestrelCore
