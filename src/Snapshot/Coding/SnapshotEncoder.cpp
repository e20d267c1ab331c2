#include "Base/Parallel.hpp"
#include "KestrelCore/Snapshot/ValueJSON.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "JSON/JSONFormat.hpp"

#include <charconv>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

// The form of a snapshot is written down once, as functions over an output. One output writes the text, the other only
// counts its bytes, so the two can't disagree. Both are needed: the database wants to know how long a text is before it
// gets the first byte, and half a gigabyte is too much to be made only to be measured.
//
// Bounds are checked once per record, not once per text: before a record is written, the buffer is made to have room
// for the longest that it could become.

namespace KestrelCore {

namespace {

/// Writes into memory that the caller has made large enough.
class TextOutput {
public:
    explicit TextOutput(char* out) : out_{out} {}

    void text(std::string_view bytes) {
        std::memcpy(out_, bytes.data(), bytes.size());
        out_ += bytes.size();
    }
    void escaped(std::string_view bytes) { out_ = JSONFormat::writeEscaped(out_, bytes); }
    void uuid(const UUID& id) {
        id.write(out_);
        out_ += uuidLength;
    }
    template <typename Integer>
    void integer(Integer value) {
        out_ = std::to_chars(out_, out_ + JSONFormat::longestInteger, value).ptr;
    }
    void date(double seconds, const char* codingPath) {
        char* end = JSONFormat::writeDouble(out_, seconds);
        if (end == nullptr) throw EncodingError{codingPath};
        out_ = end;
    }

    [[nodiscard]] char* end() const { return out_; }
    static constexpr std::size_t uuidLength = 36;

private:
    char* out_;
};

/// Counts what `TextOutput` would write.
class LengthOutput {
public:
    void text(std::string_view bytes) { length_ += bytes.size(); }
    void escaped(std::string_view bytes) { length_ += JSONFormat::escapedLength(bytes); }
    void uuid(const UUID&) { length_ += TextOutput::uuidLength; }
    template <typename Integer>
    void integer(Integer value) {
        std::uint64_t magnitude = static_cast<std::uint64_t>(value);
        if (value < 0) {
            ++length_;
            magnitude = 0 - magnitude;
        }
        for (++length_; magnitude >= 10; magnitude /= 10) ++length_;
    }
    void date(double seconds, const char* codingPath) {
        char text[JSONFormat::longestDouble];
        const char* end = JSONFormat::writeDouble(text, seconds);
        if (end == nullptr) throw EncodingError{codingPath};
        length_ += static_cast<std::size_t>(end - text);
    }

    [[nodiscard]] std::size_t length() const { return length_; }

private:
    std::size_t length_ = 0;
};

template <typename Output>
void writeString(Output& out, std::string_view text) {
    out.text("\"");
    out.escaped(text);
    out.text("\"");
}

/// The escaped path of one folder, kept while consecutive records lie in it.
class FolderPathCache {
public:
    explicit FolderPathCache(const RecordStorage& storage) : paths_{storage} {}

    /// As a prefix: empty for the top folder. Valid until the next call.
    std::string_view escapedPrefix(RecordStorage::FolderIndex folder) {
        if (folder != folder_ || !isFilled_) {
            escaped_.clear();
            JSONFormat::appendEscaped(escaped_, paths_.prefix(folder));
            folder_ = folder;
            isFilled_ = true;
        }
        return escaped_;
    }

private:
    FolderPathReader paths_;
    RecordStorage::FolderIndex folder_ = 0;
    bool isFilled_ = false;
    std::string escaped_;
};

/// The texts of an irregular record, each as it is.
template <typename Output>
void writeTexts(Output& out, const RecordStorage::Irregular& texts) {
    if (texts.parentPath) {
        out.text(",\"parentPath\":");
        writeString(out, texts.parentPath->view());
    }
    out.text(",\"path\":");
    writeString(out, texts.path.view());
    out.text(",\"name\":");
    writeString(out, texts.name.view());
}

/// The texts of a regular record: its path is its folder's, "/" and its name, so the folder's is escaped only once.
template <typename Output>
void writeTexts(Output& out, std::string_view escapedPrefix, std::string_view name) {
    out.text(",\"parentPath\":\"");
    out.text(escapedPrefix.empty() ? std::string_view{"\\/"} : escapedPrefix);
    out.text("\",\"path\":\"");
    out.text(escapedPrefix);
    out.text("\\/");
    out.escaped(name);
    out.text("\",\"name\":\"");
    out.escaped(name);
    out.text("\"");
}

template <typename Output>
void writeIdentity(Output& out, const FileIdentity& identity) {
    out.text("{\"device\":");
    out.integer(identity.device);
    out.text(",\"inode\":");
    out.integer(identity.inode);
    out.text("}");
}

/// `datePath` is what an error about the date names.
template <typename Output>
void writeRecord(Output& out, const RecordStorage& storage, std::size_t index, std::string_view escapedPrefix,
                 const char* datePath = "records.modifiedAt") {
    const auto truth = [](std::uint64_t flag) { return flag != 0 ? std::string_view{"true"} : "false"; };
    const RecordStorage::Row& row = storage.row(index);
    out.text("{\"id\":\"");
    out.uuid(storage.idOf(index));
    out.text("\"");
    if (const auto identity = storage.identityOf(row)) {
        out.text(",\"identity\":");
        writeIdentity(out, *identity);
    }
    if (row.isIrregular) {
        writeTexts(out, storage.irregular(row));
    } else {
        writeTexts(out, escapedPrefix, storage.nameOf(row));
    }
    out.text(",\"kind\":");
    out.integer(static_cast<unsigned>(row.kindValue));
    out.text(",\"logicalBytes\":");
    out.integer(row.logicalBytes);
    out.text(",\"allocatedBytes\":");
    out.integer(row.allocatedBytes);
    out.text(",\"aggregateAllocatedBytes\":");
    out.integer(row.aggregateAllocatedBytes);
    if (row.hasModified) {
        out.text(",\"modifiedAt\":");
        out.date(row.modifiedAt, datePath);
    }
    out.text(",\"fileExtension\":");
    writeString(out, storage.extensions()[row.extension].view());
    out.text(",\"isHidden\":");
    out.text(truth(row.isHidden));
    out.text(",\"isCloudPlaceholder\":");
    out.text(truth(row.isCloudPlaceholder));
    out.text(",\"isHardLinkDuplicate\":");
    out.text(truth(row.isHardLinkDuplicate));
    out.text(",\"risk\":");
    out.integer(static_cast<unsigned>(row.riskValue));
    out.text("}");
}

/// More than what `writeRecord` writes beside the texts: keys and punctuation take some 260 bytes, the identifier 36,
/// and the numbers 170 at most.
constexpr std::size_t recordFrame = 512;

/// As many bytes as the record can take at most.
std::size_t longestRecord(const RecordStorage& storage, const RecordStorage::Row& row, std::string_view escapedPrefix) {
    std::size_t raw = storage.extensions()[row.extension].byteCount();
    if (row.isIrregular) {
        const RecordStorage::Irregular& texts = storage.irregular(row);
        raw += texts.path.byteCount() + texts.name.byteCount() + (texts.parentPath ? texts.parentPath->byteCount() : 0);
    } else {
        raw += std::size_t{2} * row.nameLength;
    }
    return recordFrame + 2 * escapedPrefix.size() + JSONFormat::longestEscape * raw;
}

template <typename Output>
void writeScope(Output& out, const ScanScope& scope) {
    out.text("{\"root\":");
    writeString(out, scope.root.absoluteString().view());
    out.text(",\"displayName\":");
    writeString(out, scope.displayName.view());
    out.text(",\"volumeIdentifier\":");
    writeString(out, scope.volumeIdentifier.view());
    out.text("}");
}

/// Everything before the records.
template <typename Output>
void writeHead(Output& out, const ScanSnapshot& snapshot) {
    out.text("{\"id\":\"");
    out.uuid(snapshot.id());
    out.text("\",\"scope\":");
    writeScope(out, snapshot.scope());
    out.text(",\"startedAt\":");
    out.date(snapshot.startedAt().secondsSinceReferenceDate, "startedAt");
    out.text(",\"completedAt\":");
    out.date(snapshot.completedAt().secondsSinceReferenceDate, "completedAt");
    out.text(",\"records\":[");
}

std::size_t longestHead(const ScanScope& scope) {
    return recordFrame +
           JSONFormat::longestEscape * (scope.root.absoluteString().byteCount() + scope.displayName.byteCount() +
                                        scope.volumeIdentifier.byteCount());
}

template <typename Output>
void writeIssue(Output& out, const ScanIssue& issue, bool isFirst = true) {
    out.text(isFirst ? "{\"path\":" : ",{\"path\":");
    writeString(out, issue.path.view());
    out.text(",\"message\":");
    writeString(out, issue.message.view());
    out.text("}");
}

std::size_t longestIssue(const ScanIssue& issue) {
    return recordFrame + JSONFormat::longestEscape * (issue.path.byteCount() + issue.message.byteCount());
}

constexpr std::string_view betweenRecordsAndIssues = "],\"issues\":[";
constexpr std::string_view tail = "]}";

/// Collects text and hands it on in pieces.
class PieceBuffer {
public:
    explicit PieceBuffer(const std::function<void(std::string_view)>& sink)
        : sink_{sink}, bytes_(pieceSize + (pieceSize >> 4)) {}

    /// Calls `write` with an output that has room for `longest` bytes.
    template <typename Write>
    void append(std::size_t longest, Write write) {
        if (bytes_.size() - used_ < longest) {
            flush();
            if (bytes_.size() < longest) bytes_.resize(longest);
        }
        TextOutput out{bytes_.data() + used_};
        write(out);
        used_ = static_cast<std::size_t>(out.end() - bytes_.data());
        if (used_ >= pieceSize) flush();
    }
    void flush() {
        if (used_ > 0) sink_({bytes_.data(), used_});
        used_ = 0;
    }

private:
    static constexpr std::size_t pieceSize = std::size_t{1} << 20;

    const std::function<void(std::string_view)>& sink_;
    std::vector<char> bytes_;
    std::size_t used_ = 0;
};

/// What `write` writes, at most `longest` bytes.
template <typename Write>
std::string written(std::size_t longest, Write write) {
    std::string text(longest, '\0');
    TextOutput out{text.data()};
    write(out);
    text.resize(static_cast<std::size_t>(out.end() - text.data()));
    return text;
}

/// The length of the records from `first` to before `last`, without commas.
std::size_t recordsLength(const RecordStorage& storage, std::size_t first, std::size_t last) {
    LengthOutput out;
    FolderPathCache folders{storage};
    for (std::size_t i = first; i < last; ++i) {
        const RecordStorage::Row& row = storage.row(i);
        writeRecord(out, storage, i, row.isIrregular ? "" : folders.escapedPrefix(row.folder));
    }
    return out.length();
}

}  // namespace

std::size_t encodedLength(const ScanSnapshot& snapshot) {
    LengthOutput out;
    writeHead(out, snapshot);
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    // Half of it on another thread, where a thread is worth its while.
    constexpr std::size_t manyRecords = 50'000;
    const std::size_t middle = storage.size() < manyRecords ? 0 : storage.size() / 2;
    std::size_t firstHalf = 0;
    std::size_t secondHalf = 0;
    const auto measureSecond = [&] { secondHalf = recordsLength(storage, middle, storage.size()); };
    if (middle == 0) {
        measureSecond();
    } else {
        // Of what can't be written, the earlier in the text is what is told.
        inParallel([&] { firstHalf = recordsLength(storage, 0, middle); }, measureSecond);
    }
    const std::size_t recordsBytes = firstHalf + secondHalf;
    out.text(betweenRecordsAndIssues);
    bool isFirst = true;
    for (const ScanIssue& issue : snapshot.issues()) writeIssue(out, issue, std::exchange(isFirst, false));
    out.text(tail);
    const std::size_t commas = storage.size() == 0 ? 0 : storage.size() - 1;
    return out.length() + recordsBytes + commas;
}

void encodeSnapshot(const ScanSnapshot& snapshot, const std::function<void(std::string_view)>& sink) {
    PieceBuffer buffer{sink};
    buffer.append(longestHead(snapshot.scope()), [&](TextOutput& out) { writeHead(out, snapshot); });
    const RecordStorage& storage = SnapshotAccess::storage(snapshot);
    FolderPathCache folders{storage};
    for (std::size_t i = 0; i < storage.size(); ++i) {
        const RecordStorage::Row& row = storage.row(i);
        const std::string_view prefix = row.isIrregular ? "" : folders.escapedPrefix(row.folder);
        buffer.append(longestRecord(storage, row, prefix), [&](TextOutput& out) {
            if (i > 0) out.text(",");
            writeRecord(out, storage, i, prefix);
        });
    }
    buffer.append(betweenRecordsAndIssues.size(), [&](TextOutput& out) { out.text(betweenRecordsAndIssues); });
    bool isFirst = true;
    for (const ScanIssue& issue : snapshot.issues()) {
        buffer.append(longestIssue(issue),
                      [&](TextOutput& out) { writeIssue(out, issue, std::exchange(isFirst, false)); });
    }
    buffer.append(tail.size(), [&](TextOutput& out) { out.text(tail); });
    buffer.flush();
}

std::string ScanSnapshot::encodedJSON() const {
    std::string json;
    encodeSnapshot(*this, [&](std::string_view piece) { json += piece; });
    return json;
}

std::string encodedJSON(const FileIdentity& identity) {
    return written(recordFrame, [&](TextOutput& out) { writeIdentity(out, identity); });
}
std::string encodedJSON(FileKind kind) { return std::to_string(rawValue(kind)); }
std::string encodedJSON(RiskLevel risk) { return std::to_string(rawValue(risk)); }

std::string encodedJSON(const ScanScope& scope) {
    return written(longestHead(scope), [&](TextOutput& out) { writeScope(out, scope); });
}

std::string encodedJSON(const FileRecord& record) {
    RecordStorage storage;
    storage.append(record);
    FolderPathCache folders{storage};
    const RecordStorage::Row& row = storage.row(0);
    const std::string_view prefix = row.isIrregular ? "" : folders.escapedPrefix(row.folder);
    return written(longestRecord(storage, row, prefix),
                   [&](TextOutput& out) { writeRecord(out, storage, 0, prefix, "modifiedAt"); });
}

std::string encodedJSON(const ScanIssue& issue) {
    return written(longestIssue(issue), [&](TextOutput& out) { writeIssue(out, issue); });
}

}  // namespace KestrelCore
