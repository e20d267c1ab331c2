#include "KestrelCore/Model/FileRecord.hpp"

#include "KestrelCore/Base/Hashing.hpp"

#include <utility>

namespace KestrelCore {

FileRecord::FileRecord(UUID id, std::optional<FileIdentity> identity, std::optional<Text> parentPath, Text path,
                       Text name, FileKind kind, std::int64_t logicalBytes, std::int64_t allocatedBytes,
                       std::int64_t aggregateAllocatedBytes, std::optional<Date> modifiedAt, Text fileExtension,
                       bool isHidden, bool isCloudPlaceholder, bool isHardLinkDuplicate, RiskLevel risk)
    : id_{id}, identity_{identity}, parentPath_{std::move(parentPath)}, path_{std::move(path)}, name_{std::move(name)},
      kind_{kind}, logicalBytes_{logicalBytes}, allocatedBytes_{allocatedBytes},
      aggregateAllocatedBytes_{aggregateAllocatedBytes}, modifiedAt_{modifiedAt},
      fileExtension_{std::move(fileExtension)}, isHidden_{isHidden}, isCloudPlaceholder_{isCloudPlaceholder},
      isHardLinkDuplicate_{isHardLinkDuplicate}, risk_{risk} {}

}  // namespace KestrelCore

std::size_t std::hash<KestrelCore::FileRecord>::operator()(const KestrelCore::FileRecord& record) const {
    return KestrelCore::hashOf(record.id(), record.identity(), record.parentPath(), record.path(), record.name(),
                               static_cast<int>(record.kind()), record.logicalBytes(), record.allocatedBytes(),
                               record.aggregateAllocatedBytes(), record.modifiedAt(), record.fileExtension(),
                               record.isHidden(), record.isCloudPlaceholder(), record.isHardLinkDuplicate(),
                               static_cast<int>(record.risk()));
}
