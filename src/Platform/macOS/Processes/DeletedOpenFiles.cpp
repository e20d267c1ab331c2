#include "Platform/DeletedOpenFiles.hpp"

#include "Platform/POSIX/DeletedFiles.hpp"
#include "Platform/ProcessTable.hpp"
#include "Platform/macOS/Portable/ByteFields.hpp"
#include "Platform/macOS/Processes/Portable/TaskBytes.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <libproc.h>
#include <span>
#include <sys/stat.h>

// The system tells which files a process has open, and of each its status and its path; not of other users' processes,
// but to root. It asks the file system of each file for the status: one that does not answer is waited for.

namespace KestrelCore {
namespace {

using Layout = TaskBytes::OpenFileLayout;

constexpr std::size_t pathBytes = sizeof(vnode_info_path::vip_path);
static_assert(sizeof(vnode_fdinfowithpath) == Layout::size && pathBytes == Layout::pathBytes);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_vi.vi_stat.vst_dev) == Layout::device);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_vi.vi_stat.vst_mode) == Layout::mode);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_vi.vi_stat.vst_nlink) == Layout::links);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_vi.vi_stat.vst_ino) == Layout::inode);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_vi.vi_stat.vst_blocks) == Layout::blocks);
static_assert(offsetof(vnode_fdinfowithpath, pvip.vip_path) == Layout::path);

/// The open files of a process, in `buffer`, which grows as it needs to. Empty when the system does not tell.
std::span<const proc_fdinfo> openFilesOf(std::int32_t process, std::vector<proc_fdinfo>& buffer) {
    constexpr std::size_t mostFiles = std::size_t{1} << 20;
    if (buffer.empty()) buffer.resize(256);
    while (true) {
        const int room = static_cast<int>(buffer.size() * sizeof(proc_fdinfo));
        const int written = proc_pidinfo(process, PROC_PIDLISTFDS, 0, buffer.data(), room);
        if (written <= 0) return {};
        // A list that fills the buffer may have been cut.
        if (written < room || buffer.size() >= mostFiles)
            return std::span{buffer}.first(static_cast<std::size_t>(written) / sizeof(proc_fdinfo));
        buffer.resize(buffer.size() * 2);
    }
}

std::string nameOfProcess(std::int32_t process) {
    std::array<char, 1024> name{};
    const int length = proc_name(process, name.data(), static_cast<std::uint32_t>(name.size()));
    return {name.data(), static_cast<std::size_t>(std::max(0, length))};
}

/// The numbers of the devices that `folder` shows: its own, and for "/", which is a volume that nobody can write to,
/// also that of the volume which the system shows in it.
std::vector<std::uint32_t> devicesShownBy(const std::string& folder) {
    std::vector<std::uint32_t> devices;
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) return devices;
    devices.push_back(static_cast<std::uint32_t>(status.st_dev));
    if (folder == "/" && stat("/System/Volumes/Data", &status) == 0)
        devices.push_back(static_cast<std::uint32_t>(status.st_dev));
    return devices;
}

}  // namespace

std::vector<DeletedOpenFile> deletedOpenFiles(const std::string& folder) {
    const std::vector<std::uint32_t> devices = devicesShownBy(folder);
    if (devices.empty()) return {};
    std::vector<std::int32_t> processes;
    ProcessTable::system()->list(processes);
    DeletedFiles files;
    std::vector<proc_fdinfo> buffer;
    for (const std::int32_t process : processes) {
        if (process <= 0) continue;
        for (const proc_fdinfo& open : openFilesOf(process, buffer)) {
            if (open.proc_fdtype != PROX_FDTYPE_VNODE) continue;
            vnode_fdinfowithpath info{};
            if (proc_pidfdinfo(process, open.proc_fd, PROC_PIDFDVNODEPATHINFO, &info, sizeof info) != int{sizeof info})
                continue;
            const auto file = TaskBytes::openFile(bytesOf(info));
            if (!file || !file->isDeleted || !file->isRegular) continue;
            if (std::ranges::find(devices, file->device) == devices.end()) continue;
            files.add(file->device, file->inode, std::string{file->path}, file->allocatedBytes,
                      {.processIdentifier = process, .name = nameOfProcess(process)});
        }
    }
    return std::move(files).largestFirst();
}

}  // namespace KestrelCore
