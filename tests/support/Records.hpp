#pragma once

#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

#include <optional>
#include <vector>

namespace KestrelCore::testing {

/// What a test cares about in a record; the rest is filled in to fit.
struct RecordFields {
    Text path = "/r/a";
    std::optional<Text> parent = std::nullopt;  ///< of the path when absent, unless `isTop`
    bool isTop = false;                         ///< has no parent
    FileKind kind = FileKind::file;
    std::int64_t logical = 10;
    std::int64_t allocated = 4096;
    std::int64_t aggregate = 4096;
    std::optional<Date> modified = Date{1000};
    std::optional<FileIdentity> identity = FileIdentity{.device = 7, .inode = 8};
    bool isHidden = false;
    bool isCloudPlaceholder = false;
    bool isDuplicate = false;
    RiskLevel risk = RiskLevel::normal;
    std::optional<UUID> id = std::nullopt;  ///< a new one when absent
};

inline FileRecord aRecord(const RecordFields& fields) {
    std::optional<Text> parent;
    if (!fields.isTop) parent = fields.parent ? *fields.parent : Path::deletingLastComponent(fields.path);
    const Text name = Path::lastComponent(fields.path);
    return FileRecord{{.id = fields.id ? *fields.id : UUID::random(),
                       .identity = fields.identity,
                       .parentPath = parent,
                       .path = fields.path,
                       .name = name,
                       .kind = fields.kind,
                       .logicalBytes = fields.logical,
                       .allocatedBytes = fields.allocated,
                       .aggregateAllocatedBytes = fields.aggregate,
                       .modifiedAt = fields.modified,
                       .fileExtension = Path::extension(name).lowercased(),
                       .isHidden = fields.isHidden,
                       .isCloudPlaceholder = fields.isCloudPlaceholder,
                       .isHardLinkDuplicate = fields.isDuplicate,
                       .risk = fields.risk}};
}

inline ScanSnapshot aSnapshot(const Text& root, const std::vector<FileRecord>& records,
                              std::vector<ScanIssue> issues = {}) {
    return ScanSnapshot{UUID::random(), ScanScope{URL::fromPath(root)}, Date{1}, Date{2}, records, std::move(issues)};
}

template <typename Records>
std::vector<std::string> pathsOf(const Records& records) {
    std::vector<std::string> paths;
    for (const auto& record : records) paths.push_back(record.path().string());
    return paths;
}

}  // namespace KestrelCore::testing
