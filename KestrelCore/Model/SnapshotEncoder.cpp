#include "KestrelCore/Model/JSONFormat.hpp"
#include "KestrelCore/Model/RecordStorage.hpp"
#include "KestrelCore/Model/SnapshotCoding.hpp"

#include <string>

namespace KestrelCore {

namespace {

/// The escaped path of one folder, kept while consecutive records lie in it.
class FolderPathCache {
public:
    explicit FolderPathCache(const RecordStorage& storage) : storage_{storage} {}

    /// As a prefix: empty for the top folder. Valid until the next call.
    std::string_view escapedPrefix(RecordStorage::FolderIndex folder) {
        if (folder != folder_ || !isFilled_) {
            raw_.clear();
            escaped_.clear();
            storage_.appendFolderPath(folder, raw_);
            JSONFormat::appendEscaped(escaped_, raw_);
            folder_ = folder;
            isFilled_ = true;
        }
        return escaped_;
    }

private:
    const RecordStorage& storage_;
    RecordStorage::FolderIndex folder_ = 0;
    bool isFilled_ = false;
    std::string raw_;
    std::string escaped_;
};

void appendDate(std::string& out, Date date, const char* codingPath) {
    if (!JSONFormat::appendDouble(out, date.secondsSinceReferenceDate)) throw EncodingError{codingPath};
}

void appendBool(std::string& out, bool value) { out += value ? "true" : "false"; }

void appendRecord(std::string& out, const RecordStorage& storage, const RecordStorage::Row& row,
                  FolderPathCache& folders) {
    out += "{\"id\":\"";
    const std::size_t idStart = out.size();
    out.resize(idStart + 36);
    row.id.write(out.data() + idStart);
    out += '"';
    if (const auto identity = storage.identityOf(row)) {
        out += ",\"identity\":{\"device\":";
        JSONFormat::appendInteger(out, identity->device);
        out += ",\"inode\":";
        JSONFormat::appendInteger(out, identity->inode);
        out += '}';
    }
    if (row.isIrregular) {
        const RecordStorage::Irregular& texts = storage.irregular(row);
        if (texts.parentPath) {
            out += ",\"parentPath\":";
            JSONFormat::appendString(out, texts.parentPath->view());
        }
        out += ",\"path\":";
        JSONFormat::appendString(out, texts.path.view());
        out += ",\"name\":";
        JSONFormat::appendString(out, texts.name.view());
    } else {
        const std::string_view prefix = folders.escapedPrefix(row.folder);
        out += ",\"parentPath\":\"";
        out += prefix.empty() ? std::string_view{"\\/"} : prefix;
        out += "\",\"path\":\"";
        out += prefix;
        out += "\\/";
        const std::size_t nameStart = out.size();
        JSONFormat::appendEscaped(out, storage.nameOf(row));
        const std::size_t nameLength = out.size() - nameStart;
        out += "\",\"name\":\"";
        out.append(out, nameStart, nameLength);
        out += '"';
    }
    out += ",\"kind\":";
    out += static_cast<char>('0' + row.kindValue);
    out += ",\"logicalBytes\":";
    JSONFormat::appendInteger(out, row.logicalBytes);
    out += ",\"allocatedBytes\":";
    JSONFormat::appendInteger(out, row.allocatedBytes);
    out += ",\"aggregateAllocatedBytes\":";
    JSONFormat::appendInteger(out, row.aggregateAllocatedBytes);
    if (row.hasModified) {
        out += ",\"modifiedAt\":";
        appendDate(out, Date{row.modifiedAt}, "records.modifiedAt");
    }
    out += ",\"fileExtension\":";
    JSONFormat::appendString(out, storage.extensions()[row.extension].view());
    out += ",\"isHidden\":";
    appendBool(out, row.isHidden != 0);
    out += ",\"isCloudPlaceholder\":";
    appendBool(out, row.isCloudPlaceholder != 0);
    out += ",\"isHardLinkDuplicate\":";
    appendBool(out, row.isHardLinkDuplicate != 0);
    out += ",\"risk\":";
    out += static_cast<char>('0' + row.riskValue);
    out += '}';
}

}  // namespace

void encodeSnapshot(const ScanSnapshot& snapshot, const std::function<void(std::string_view)>& sink) {
    constexpr std::size_t pieceSize = std::size_t{1} << 20;
    std::string out;
    out.reserve(pieceSize + (std::size_t{1} << 16));
    const auto flushWhenFull = [&] {
        if (out.size() < pieceSize) return;
        sink(out);
        out.clear();
    };
    out += "{\"id\":\"" + snapshot.id().uuidString() + "\",\"scope\":{\"root\":";
    JSONFormat::appendString(out, snapshot.scope().root.absoluteString().view());
    out += ",\"displayName\":";
    JSONFormat::appendString(out, snapshot.scope().displayName.view());
    out += ",\"volumeIdentifier\":";
    JSONFormat::appendString(out, snapshot.scope().volumeIdentifier.view());
    out += "},\"startedAt\":";
    appendDate(out, snapshot.startedAt(), "startedAt");
    out += ",\"completedAt\":";
    appendDate(out, snapshot.completedAt(), "completedAt");
    out += ",\"records\":[";
    const RecordStorage& storage = snapshot.storage();
    FolderPathCache folders{storage};
    for (std::size_t i = 0; i < storage.size(); ++i) {
        if (i > 0) out += ',';
        appendRecord(out, storage, storage.row(i), folders);
        flushWhenFull();
    }
    out += "],\"issues\":[";
    bool isFirst = true;
    for (const ScanIssue& issue : snapshot.issues()) {
        if (!isFirst) out += ',';
        isFirst = false;
        out += "{\"path\":";
        JSONFormat::appendString(out, issue.path.view());
        out += ",\"message\":";
        JSONFormat::appendString(out, issue.message.view());
        out += '}';
        flushWhenFull();
    }
    out += "]}";
    sink(out);
}

}  // namespace KestrelCore
