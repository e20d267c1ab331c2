#include "output/ModelJSON.hpp"

// The library's values as the program prints them: names where stored snapshots have numbers, dates as people write
// them, and only what a reader can use. The manual names these members, so that changing one is a change for scripts.

using namespace KestrelCore;

namespace KestrelCLI {

// Written out: a case that is added to the library is then a warning here and not a number in somebody's script.
std::string_view nameOf(FileKind kind) {
    switch (kind) {
    case FileKind::file: return "file";
    case FileKind::directory: return "directory";
    case FileKind::package: return "package";
    case FileKind::symbolicLink: return "symbolicLink";
    case FileKind::other: break;
    }
    return "other";
}

std::string_view nameOf(RiskLevel level) {
    switch (level) {
    case RiskLevel::normal: return "normal";
    case RiskLevel::caution: return "caution";
    case RiskLevel::high: return "high";
    case RiskLevel::blocked: break;
    }
    return "blocked";
}

void writeRecordMembers(JSONOutput& json, const FileRecord& record) {
    json.member("path", record.path().view());
    json.member("name", record.name().view());
    json.member("kind", nameOf(record.kind()));
    json.member("displayBytes", record.displayBytes());
    json.member("logicalBytes", record.logicalBytes());
    json.member("allocatedBytes", record.allocatedBytes());
    if (record.modifiedAt()) writeDate(json, "modifiedAt", *record.modifiedAt());
    json.member("fileExtension", record.fileExtension().view());
    json.member("isHidden", record.isHidden());
    json.member("isCloudPlaceholder", record.isCloudPlaceholder());
    json.member("isHardLinkDuplicate", record.isHardLinkDuplicate());
    json.member("risk", nameOf(record.risk()));
}

void writeRecord(JSONOutput& json, const FileRecord& record) {
    json.beginObject();
    writeRecordMembers(json, record);
    json.endObject();
}

void writeSummaryMembers(JSONOutput& json, const Generation& scan) {
    json.member("id", scan.snapshot.uuidString());
    json.member("root", scan.scope.root.path().view());
    json.member("displayName", scan.scope.displayName.view());
    writeDate(json, "startedAt", scan.startedAt);
    writeDate(json, "completedAt", scan.completedAt);
    json.member("records", scan.records);
    json.member("issues", scan.issues);
    json.member("totalAllocatedBytes", scan.totalAllocatedBytes);
    json.member("isComplete", scan.isComplete);
    if (!scan.leftOut.empty()) {
        json.beginArray("leftOut");
        for (const Text& each : scan.leftOut) json.element(each.view());
        json.endArray();
    }
    if (scan.crossesMounts) json.member("crossesMounts", true);
}

void writeSnapshot(JSONOutput& json, std::string_view key, const Generation& scan) {
    json.beginObject(key);
    if (scan.number > 0) json.member("number", scan.number);
    writeSummaryMembers(json, scan);
    json.endObject();
}

void writeDate(JSONOutput& json, std::string_view key, const Date& date) { json.member(key, date.rfc3339()); }

}  // namespace KestrelCLI
