#include "Deletion/DeletionGate.hpp"

#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "KestrelCore/Model/KestrelError.hpp"
#include "Platform/DeletionGuard.hpp"
#include "Platform/FileStatus.hpp"

namespace KestrelCore {

namespace {

FileKind plainKind(FileType type) {
    switch (type) {
    case FileType::regular: return FileKind::file;
    case FileType::directory: return FileKind::directory;
    case FileType::symbolicLink: return FileKind::symbolicLink;
    default: return FileKind::other;
    }
}

/// What the record must still be on the disk. File systems hand a freed inode out again at once, so an equal identity
/// says little about an item of another type.
ExpectedItem expectedItem(const FileRecord& record) {
    const FileStatusResult found = fileStatus(record.path().string());
    if (!found.status) throw KestrelError::staleItem(SafetyRules::missingMessage);
    const FileKind scanned = record.kind() == FileKind::package ? FileKind::directory : record.kind();
    if (plainKind(found.status->type) != scanned) throw KestrelError::staleItem(SafetyRules::changedMessage);
    const FileIdentity identity = record.identity().value();
    return {identity.device, identity.inode, fileTypeBits(found.status->type)};
}

}  // namespace

DeletionGate::DeletionGate() : protected_{SafetyPolicy::rules().protectedIdentities()} {}

ExpectedItem DeletionGate::validated(const FileRecord& record) const {
    SafetyPolicy::validate(record);
    // The path that was validated must be the one that is removed, byte by byte.
    if (record.url().standardized().path().view() != record.path().view())
        throw KestrelError::staleItem(SafetyRules::changedMessage);
    for (const SafetyRules::ProtectedIdentity& item : protected_)
        if (item.identity == record.identity()) throw KestrelError::safetyViolation(item.reason);
    if (isProtectedTrash(record.path())) throw KestrelError::safetyViolation(SafetyRules::protectedMessage);
    return expectedItem(record);
}

}  // namespace KestrelCore
