#include "KestrelCore/Model/FileRecord.hpp"

#include "KestrelCore/Base/Hashing.hpp"

#include <utility>

namespace KestrelCore {

FileRecord::FileRecord(UUID id, std::optional<FileIdentity> identity, std::optional<Text> parentPath, Text path,
                       Text name, FileKind kind, std::int64_t logicalBytes, std::int64_t allocatedBytes,
                       std::int64_t aggregateAllocatedBytes, std::optional<Date> modifiedAt, Text fileExtension,
                       bool isHidden, bool isCloudPlaceholder, bool isHardLinkDuplicate, RiskLevel risk)
    : id_{id}, parentPath_{std::move(parentPath)}, path_{std::move(path)}, name_{std::move(name)},
      fileExtension_{std::move(fileExtension)}, identity_{identity.value_or(FileIdentity{})},
      logicalBytes_{logicalBytes}, allocatedBytes_{allocatedBytes}, aggregateAllocatedBytes_{aggregateAllocatedBytes},
      modifiedAt_{modifiedAt.value_or(Date{})}, kind_{kind}, risk_{risk}, hasIdentity_{identity.has_value()},
      hasModified_{modifiedAt.has_value()}, isHidden_{isHidden}, isCloudPlaceholder_{isCloudPlaceholder},
      isHardLinkDuplicate_{isHardLinkDuplicate} {}

FileRecord::FileRecord(Fields fields)
    : FileRecord{fields.id,
                 fields.identity,
                 std::move(fields.parentPath),
                 std::move(fields.path),
                 std::move(fields.name),
                 fields.kind,
                 fields.logicalBytes,
                 fields.allocatedBytes,
                 fields.aggregateAllocatedBytes,
                 fields.modifiedAt,
                 std::move(fields.fileExtension),
                 fields.isHidden,
                 fields.isCloudPlaceholder,
                 fields.isHardLinkDuplicate,
                 fields.risk} {}

}  // namespace KestrelCore

std::size_t std::hash<KestrelCore::FileRecord>::operator()(const KestrelCore::FileRecord& record) const {
    return KestrelCore::Internal::hashOf(record.id(), record.identity(), record.parentPath(), record.path(),
                                         record.name(), static_cast<int>(record.kind()), record.logicalBytes(),
                                         record.allocatedBytes(), record.aggregateAllocatedBytes(), record.modifiedAt(),
                                         record.fileExtension(), record.isHidden(), record.isCloudPlaceholder(),
                                         record.isHardLinkDuplicate(), static_cast<int>(record.risk()));
}
