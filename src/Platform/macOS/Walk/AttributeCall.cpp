#include "Platform/macOS/Walk/AttributeCall.hpp"

#include "Platform/macOS/Walk/Portable/BulkAttributes.hpp"

#include <sys/attr.h>
#include <sys/resource.h>
#include <sys/unistd.h>
#include <unistd.h>

namespace KestrelCore {

namespace {

namespace Common = BulkAttributes::Common;
namespace Directory = BulkAttributes::Directory;
namespace File = BulkAttributes::File;

static_assert(Common::name == ATTR_CMN_NAME && Common::device == ATTR_CMN_DEVID && Common::type == ATTR_CMN_OBJTYPE);
static_assert(Common::modified == ATTR_CMN_MODTIME && Common::flags == ATTR_CMN_FLAGS);
static_assert(Common::inode == ATTR_CMN_FILEID && Common::error == ATTR_CMN_ERROR);
static_assert(Common::returned == ATTR_CMN_RETURNED_ATTRS);
static_assert(Directory::links == ATTR_DIR_LINKCOUNT && Directory::mountStatus == ATTR_DIR_MOUNTSTATUS);
static_assert(Directory::allocated == ATTR_DIR_ALLOCSIZE && Directory::size == ATTR_DIR_DATALENGTH);
static_assert(File::links == ATTR_FILE_LINKCOUNT && File::totalSize == ATTR_FILE_TOTALSIZE);
static_assert(File::allocated == ATTR_FILE_ALLOCSIZE && File::size == ATTR_FILE_DATALENGTH);
static_assert(BulkAttributes::isMountPoint == DIR_MNTSTATUS_MNTPOINT);
static_assert(BulkAttributes::isTrigger == DIR_MNTSTATUS_TRIGGER);
static_assert(sizeof(attribute_set_t) == 5 * sizeof(std::uint32_t) && sizeof(attrreference_t) == 8);
static_assert(sizeof(timespec) == 16);

int list(int folder, std::span<char> buffer, attrgroup_t common, attrgroup_t directory, attrgroup_t file) noexcept {
    attrlist wanted{};
    wanted.bitmapcount = ATTR_BIT_MAP_COUNT;
    wanted.commonattr = common;
    wanted.dirattr = directory;
    wanted.fileattr = file;
    return ::getattrlistbulk(folder, &wanted, buffer.data(), buffer.size(), 0);
}

}  // namespace

int listAttributes(int folder, std::span<char> buffer) noexcept {
    return list(folder, buffer, Common::all, Directory::all, File::all);
}

int listNames(int folder, std::span<char> buffer) noexcept {
    return list(folder, buffer, Common::name | Common::type | Common::inode | Common::error | Common::returned, 0, 0);
}

ContentStaysAway::ContentStaysAway() noexcept
    : before_{::getiopolicy_np(IOPOL_TYPE_VFS_MATERIALIZE_DATALESS_FILES, IOPOL_SCOPE_THREAD)} {
    if (before_ < 0 || before_ == IOPOL_MATERIALIZE_DATALESS_FILES_OFF) return;
    if (::setiopolicy_np(IOPOL_TYPE_VFS_MATERIALIZE_DATALESS_FILES, IOPOL_SCOPE_THREAD,
                         IOPOL_MATERIALIZE_DATALESS_FILES_OFF) != 0) {
        before_ = -1;
    }
}

ContentStaysAway::~ContentStaysAway() {
    if (before_ < 0 || before_ == IOPOL_MATERIALIZE_DATALESS_FILES_OFF) return;
    (void)::setiopolicy_np(IOPOL_TYPE_VFS_MATERIALIZE_DATALESS_FILES, IOPOL_SCOPE_THREAD, before_);
}

}  // namespace KestrelCore
