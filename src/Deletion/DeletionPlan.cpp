#include "KestrelCore/Deletion/DeletionPlan.hpp"

#include "Base/PathComponents.hpp"
#include "Deletion/DeletionGate.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "Model/KindOfItem.hpp"
#include "Model/PackageExtensions.hpp"
#include "Platform/FileStatus.hpp"

#include <algorithm>
#include <array>
#include <string_view>

namespace KestrelCore {

std::optional<FileRecord> DeletionPlan::freshRecord(const Text& path, DeletionMeasurement& measurement,
                                                    const CancellationToken& cancellation) {
    const FileStatusResult found = fileStatus(path.string());
    if (!found.status) return std::nullopt;
    const FileStatus& status = *found.status;
    const Text name = Path::lastComponent(path);
    const Text fileExtension = Path::extension(path).lowercased();
    const URL url = URL::fromPath(path);

    const std::int64_t aggregate = status.type == FileType::directory
                                       ? measurement.measure(path, cancellation).allocatedBytes
                                       : status.allocatedBytes;
    return FileRecord{{.id = UUID::random(),
                       .identity = FileIdentity{status.device, status.inode},
                       .parentPath = Path::deletingLastComponent(path),
                       .path = path,
                       .name = name,
                       .kind = kindOf(status.type, isPackageExtension(fileExtension.view())),
                       .logicalBytes = status.size,
                       .allocatedBytes = status.allocatedBytes,
                       .aggregateAllocatedBytes = aggregate,
                       .modifiedAt = Date::fromFileTime(status.modifiedSeconds, status.modifiedNanoseconds),
                       .fileExtension = fileExtension,
                       .isHidden = status.isUserHidden || beginsWithDot(name.view()),
                       .isCloudPlaceholder = status.isDataless,
                       .risk = SafetyPolicy::risk(url)}};
}

DeletionPlan::DeletionPlan(const std::vector<ProtectedPlace>& protectedPlaces)
    : gate_{std::make_unique<const DeletionGate>(protectedPlaces)} {}

DeletionPlan::~DeletionPlan() = default;

std::optional<KestrelError> DeletionPlan::objection(const FileRecord& record) const {
    try {
        (void)gate_->validated(record);
        const auto obstacle = gate_->mountObstacle(record);
        return obstacle ? std::optional{KestrelError::unavailable(*obstacle)} : std::nullopt;
    } catch (const KestrelError& error) {
        return error;
    }
}

std::optional<Text> DeletionPlan::refusal(const FileRecord& record) const {
    const auto error = objection(record);
    return error ? std::optional<Text>{error->errorDescription()} : std::nullopt;
}

}  // namespace KestrelCore
