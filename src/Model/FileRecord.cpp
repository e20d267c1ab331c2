#include "KestrelCore/Model/FileRecord.hpp"

#include "KestrelCore/Base/Hashing.hpp"

#include <utility>

namespace KestrelCore {

// Hosts keep records in lists of their own, so the size is a promise. A field that is added takes its bytes from
// `room_`; when that is used up, or a member such as Text grows, it is time for the next major version.
static_assert(sizeof(void*) != 8 || (sizeof(FileRecord) == 192 && alignof(FileRecord) == 8));

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

FileRecord::FileRecord(const FileRecord& other) = default;
FileRecord::FileRecord(FileRecord&& other) noexcept = default;
FileRecord& FileRecord::operator=(const FileRecord& other) = default;
FileRecord& FileRecord::operator=(FileRecord&& other) noexcept = default;
FileRecord::~FileRecord() = default;

const UUID& FileRecord::id() const { return id_; }
std::optional<FileIdentity> FileRecord::identity() const {
    return hasIdentity_ ? std::optional{identity_} : std::nullopt;
}
const std::optional<Text>& FileRecord::parentPath() const { return parentPath_; }
const Text& FileRecord::path() const { return path_; }
const Text& FileRecord::name() const { return name_; }
FileKind FileRecord::kind() const { return kind_; }
std::int64_t FileRecord::logicalBytes() const { return logicalBytes_; }
std::int64_t FileRecord::allocatedBytes() const { return allocatedBytes_; }
std::int64_t FileRecord::aggregateAllocatedBytes() const { return aggregateAllocatedBytes_; }
void FileRecord::setAggregateAllocatedBytes(std::int64_t bytes) { aggregateAllocatedBytes_ = bytes; }
std::optional<Date> FileRecord::modifiedAt() const { return hasModified_ ? std::optional{modifiedAt_} : std::nullopt; }
const Text& FileRecord::fileExtension() const { return fileExtension_; }
bool FileRecord::isHidden() const { return isHidden_; }
bool FileRecord::isCloudPlaceholder() const { return isCloudPlaceholder_; }
bool FileRecord::isHardLinkDuplicate() const { return isHardLinkDuplicate_; }
RiskLevel FileRecord::risk() const { return risk_; }

bool FileRecord::isContainer() const { return kind_ == FileKind::directory || kind_ == FileKind::package; }
std::int64_t FileRecord::displayBytes() const { return isContainer() ? aggregateAllocatedBytes_ : allocatedBytes_; }
URL FileRecord::url() const { return URL::fromPath(path_); }

bool FileRecord::operator==(const FileRecord& other) const = default;

}  // namespace KestrelCore

std::size_t std::hash<KestrelCore::FileRecord>::operator()(const KestrelCore::FileRecord& record) const {
    return KestrelCore::Internal::hashOf(record.id(), record.identity(), record.parentPath(), record.path(),
                                         record.name(), static_cast<int>(record.kind()), record.logicalBytes(),
                                         record.allocatedBytes(), record.aggregateAllocatedBytes(), record.modifiedAt(),
                                         record.fileExtension(), record.isHidden(), record.isCloudPlaceholder(),
                                         record.isHardLinkDuplicate(), static_cast<int>(record.risk()));
}
