#include "Platform/macOS/Processes/ProcessQueries.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

#include <cerrno>
#include <cstddef>
#include <libproc.h>
#include <sys/proc.h>

namespace KestrelCore {
namespace {

using Layout = TaskBytes::ProcessLayout;

static_assert(sizeof(proc_bsdinfo) == Layout::size);
static_assert(offsetof(proc_bsdinfo, pbi_status) == Layout::status);
static_assert(offsetof(proc_bsdinfo, pbi_ppid) == Layout::parent);
static_assert(offsetof(proc_bsdinfo, pbi_uid) == Layout::user);
static_assert(offsetof(proc_bsdinfo, pbi_start_tvsec) == Layout::startSeconds);
static_assert(offsetof(proc_bsdinfo, pbi_start_tvusec) == Layout::startMicroseconds);
static_assert(SSTOP == Layout::stopped && SZOMB == Layout::zombie);

}  // namespace

std::optional<TaskBytes::ProcessRecord> queriedProcess(std::int32_t processIdentifier) {
    proc_bsdinfo info{};
    errno = 0;
    if (proc_pidinfo(processIdentifier, PROC_PIDTBSDINFO, 0, &info, sizeof info) != int{sizeof info}) {
        if (errno == 0) errno = ESRCH;
        return std::nullopt;
    }
    const auto record = TaskBytes::processRecord(bytesOf(info));
    if (record && !record->isZombie) return record;
    errno = ESRCH;
    return std::nullopt;
}

}  // namespace KestrelCore
