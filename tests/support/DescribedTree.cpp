#include "support/DescribedTree.hpp"

#include "Model/PackageExtensions.hpp"
#include "support/Records.hpp"
#include "support/ScannedSnapshots.hpp"

#include <map>

namespace KestrelCore::testing {

namespace {

/// Nothing is known of its age, and it takes nothing itself.
RecordFields plainFolder(const std::string& path) {
    const FileKind kind =
        isPackageExtension(Path::extension(Text{path}).view()) ? FileKind::package : FileKind::directory;
    return {.path = Text{path}, .kind = kind, .allocated = 0, .modified = std::nullopt, .identity = {}};
}

}  // namespace

ScanSnapshot describedTree(const std::vector<DescribedItem>& items, std::vector<ScanIssue> issues) {
    std::map<std::string, RecordFields> records;
    std::uint64_t inode = 1000;
    records["/"] = plainFolder("/");
    records["/"].isTop = true;
    for (const DescribedItem& item : items) {
        const bool isFolder = item.path.ends_with('/');
        const std::string path = isFolder ? item.path.substr(0, item.path.size() - 1) : item.path;
        for (std::size_t slash = path.find('/', 1); slash != std::string::npos; slash = path.find('/', slash + 1)) {
            const std::string above = path.substr(0, slash);
            records.try_emplace(above, plainFolder(above));
        }
        RecordFields& record = records[path];
        const FileKind fileKind = item.isLink ? FileKind::symbolicLink : FileKind::file;
        record = plainFolder(path);
        if (!isFolder) record.kind = fileKind;
        record.logical = item.bytes;
        record.allocated = item.bytes;
        record.modified = item.modified;
        record.isDuplicate = item.isFurtherName;
        record.identity = item.identity;
    }
    for (auto& [path, record] : records) {
        if (!record.identity) record.identity = FileIdentity{.device = 7, .inode = inode++};
        record.aggregate = record.isDuplicate ? 0 : record.allocated;
    }
    for (auto record = records.rbegin(); record != records.rend(); ++record) {
        if (record->first == "/") continue;
        const std::size_t slash = record->first.rfind('/');
        records[slash == 0 ? "/" : record->first.substr(0, slash)].aggregate += record->second.aggregate;
    }
    std::vector<FileRecord> made;
    for (const auto& [path, record] : records) made.push_back(aRecord(record));
    return asScanned(aSnapshot("/", made, std::move(issues)));
}

}  // namespace KestrelCore::testing
