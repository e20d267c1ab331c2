#include "support/DiskRecord.hpp"

#include "Platform/FileStatus.hpp"

namespace KestrelCore {

namespace {

FileKind kindOf(FileType type) {
    switch (type) {
    case FileType::regular: return FileKind::file;
    case FileType::directory: return FileKind::directory;
    case FileType::symbolicLink: return FileKind::symbolicLink;
    default: return FileKind::other;
    }
}

}  // namespace

FileRecord diskRecord(const std::string& path, std::optional<FileKind> kind) {
    const FileStatusResult found = fileStatus(path);
    const FileStatus status = found.status.value_or(FileStatus{});
    const auto identity =
        found.status ? std::optional<FileIdentity>{FileIdentity{status.device, status.inode}} : std::nullopt;
    return {UUID::random(),
            identity,
            Path::deletingLastComponent(path),
            path,
            Path::lastComponent(path),
            kind.value_or(kindOf(status.type)),
            status.size,
            status.allocatedBytes,
            status.allocatedBytes,
            std::nullopt,
            Path::extension(path),
            false,
            false,
            false,
            RiskLevel::normal};
}

FileRecord withIdentity(const FileRecord& record, std::optional<FileIdentity> identity) {
    return {record.id(),
            identity,
            record.parentPath(),
            record.path(),
            record.name(),
            record.kind(),
            record.logicalBytes(),
            record.allocatedBytes(),
            record.aggregateAllocatedBytes(),
            record.modifiedAt(),
            record.fileExtension(),
            record.isHidden(),
            record.isCloudPlaceholder(),
            record.isHardLinkDuplicate(),
            record.risk()};
}

}  // namespace KestrelCore
