#include "KestrelCore/Snapshot/ValueJSON.hpp"
#include "Snapshot/Coding/PlainRecordReader.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "JSON/JSONFields.hpp"
#include "JSON/JSONSplitter.hpp"

#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <optional>
#include <string>
#include <vector>

// The splitter cuts the text into small values and windows of elements; simdjson reads each of these, one field after
// the other, into plain field values. Only when all fields of a record are sound does it become a row. When one is not,
// the first bad field in the order of declaration decides the error. Malformed text outranks any other error, wherever
// it stands, so a bad record is only remembered until the text has ended.
//
// Records spelled as this library writes them, nearly all there are, never come that far: `PlainRecordReader` takes
// them from the pieces themselves.

namespace KestrelCore {

namespace {

using namespace JSONFields;
using Kind = DecodingError::Kind;

struct IdentityFields {
    Field<std::uint64_t> device;
    Field<std::uint64_t> inode;

    bool readMember(std::string_view key, json::value value) {
        if (key == "device") return readFirst(value, device);
        return key == "inode" && readFirst(value, inode);
    }
};

bool keep(json::value value, Field<std::string>& field) {
    if (field.state != FieldState::absent) return false;
    Field<std::string_view> view;
    read(value, view);
    field.state = view.state;
    field.value = view.value;
    return true;
}

struct ScopeFields {
    Field<std::string> root;
    Field<std::string> displayName;
    Field<std::string> volumeIdentifier;

    bool readMember(std::string_view key, json::value value) {
        if (key == "root") return keep(value, root);
        if (key == "displayName") return keep(value, displayName);
        return key == "volumeIdentifier" && keep(value, volumeIdentifier);
    }
    /// `at` is where the scope stands. Throws `DecodingError`.
    [[nodiscard]] ScanScope scope(const std::string& at) const {
        const auto url = root.state == FieldState::sound ? URL::parse(Text{root.value}) : std::nullopt;
        Requirements wants{at};
        wants.required("root", root)
            .holds("root", url.has_value())
            .required("displayName", displayName)
            .required("volumeIdentifier", volumeIdentifier);
        if (wants.error()) throw *wants.error();
        return ScanScope::stored(*url, Text{displayName.value}, Text{volumeIdentifier.value});
    }
};

struct IssueFields {
    Field<std::string_view> path;
    Field<std::string_view> message;

    bool readMember(std::string_view key, json::value value) {
        if (key == "path") return readFirst(value, path);
        return key == "message" && readFirst(value, message);
    }
    [[nodiscard]] std::optional<DecodingError> error(const std::string& at) const {
        Requirements wants{at};
        wants.required("path", path).required("message", message);
        return wants.error();
    }
    [[nodiscard]] ScanIssue issue() const { return ScanIssue{Text{path.value}, Text{message.value}}; }
};

/// Of fields that are an object: sound when it is one, whatever its members are.
template <typename Fields>
void readFields(json::value value, const std::string& at, Field<Fields>& field) {
    json::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) {
        field.state = failure(value);
        return;
    }
    field.state = FieldState::sound;
    readMembers(object, at,
                [&](std::string_view key, json::value member) { return field.value.readMember(key, member); });
}

void read(json::value value, Field<IdentityFields>& field) { readFields(value, "identity", field); }

DecodingError noObject(FieldState state, const std::string& at) {
    return DecodingError{state == FieldState::null ? Kind::valueNotFound : Kind::typeMismatch, at, "Not an object"};
}

struct RecordFields {
    Field<std::string_view> id;
    Field<IdentityFields> identity;
    Field<std::string_view> parentPath;
    Field<std::string_view> path;
    Field<std::string_view> name;
    Field<std::int64_t> kind;
    Field<std::int64_t> logicalBytes;
    Field<std::int64_t> allocatedBytes;
    Field<std::int64_t> aggregateAllocatedBytes;
    Field<double> modifiedAt;
    Field<std::string_view> fileExtension;
    Field<bool> isHidden;
    Field<bool> isCloudPlaceholder;
    Field<bool> isHardLinkDuplicate;
    Field<std::int64_t> risk;

    /// False for a key that is unknown or was there before.
    bool readMember(std::string_view key, json::value value) {
        // Told apart by length first: every record brings all of these keys.
        switch (key.size()) {
        case 2: return key == "id" && readFirst(value, id);
        case 4:
            if (key == "path") return readFirst(value, path);
            if (key == "name") return readFirst(value, name);
            if (key == "kind") return readFirst(value, kind);
            return key == "risk" && readFirst(value, risk);
        case 8:
            if (key == "identity") return readFirst(value, identity);
            return key == "isHidden" && readFirst(value, isHidden);
        case 10:
            if (key == "parentPath") return readFirst(value, parentPath);
            return key == "modifiedAt" && readFirst(value, modifiedAt);
        case 12: return key == "logicalBytes" && readFirst(value, logicalBytes);
        case 13: return key == "fileExtension" && readFirst(value, fileExtension);
        case 14: return key == "allocatedBytes" && readFirst(value, allocatedBytes);
        case 18: return key == "isCloudPlaceholder" && readFirst(value, isCloudPlaceholder);
        case 19: return key == "isHardLinkDuplicate" && readFirst(value, isHardLinkDuplicate);
        case 23: return key == "aggregateAllocatedBytes" && readFirst(value, aggregateAllocatedBytes);
        default: return false;
        }
    }

    [[nodiscard]] bool isSound(const std::optional<UUID>& parsedID) const {
        const auto sound = [](const auto&... field) { return ((field.state == FieldState::sound) && ...); };
        const auto fine = [](const auto&... field) {
            return ((field.state <= FieldState::sound) && ...);  // absent and null are fine for what is optional
        };
        return parsedID && fine(identity, parentPath, modifiedAt) &&
               sound(path, name, kind, logicalBytes, allocatedBytes, aggregateAllocatedBytes, fileExtension, isHidden,
                     isCloudPlaceholder, isHardLinkDuplicate, risk) &&
               (identity.state != FieldState::sound || sound(identity.value.device, identity.value.inode)) &&
               fromRawValue<FileKind>(kind.value) && fromRawValue<RiskLevel>(risk.value);
    }

    [[nodiscard]] DecodingError firstError(const std::optional<UUID>& parsedID, const std::string& at) const {
        Requirements wants{at};
        wants.required("id", id).holds("id", parsedID.has_value()).optional("identity", identity);
        if (identity.state == FieldState::sound) {
            wants.required("identity.device", identity.value.device).required("identity.inode", identity.value.inode);
        }
        wants.optional("parentPath", parentPath).required("path", path).required("name", name).required("kind", kind);
        wants.holds("kind", fromRawValue<FileKind>(kind.value).has_value());
        wants.required("logicalBytes", logicalBytes)
            .required("allocatedBytes", allocatedBytes)
            .required("aggregateAllocatedBytes", aggregateAllocatedBytes)
            .optional("modifiedAt", modifiedAt)
            .required("fileExtension", fileExtension)
            .required("isHidden", isHidden)
            .required("isCloudPlaceholder", isCloudPlaceholder)
            .required("isHardLinkDuplicate", isHardLinkDuplicate)
            .required("risk", risk)
            .holds("risk", fromRawValue<RiskLevel>(risk.value).has_value());
        return *wants.error();
    }
};

void appendRow(RecordStorage& storage, const RecordFields& fields, const UUID& id) {
    RecordStorage::Row& row = storage.append(fields.parentPath.optional(), fields.path.value, fields.name.value);
    RecordStorage::Fields values{
        .id = id,
        .kind = static_cast<FileKind>(fields.kind.value),
        .logicalBytes = fields.logicalBytes.value,
        .allocatedBytes = fields.allocatedBytes.value,
        .aggregateAllocatedBytes = fields.aggregateAllocatedBytes.value,
        .extension = storage.internExtension(fields.fileExtension.value),
        .isHidden = fields.isHidden.value,
        .isCloudPlaceholder = fields.isCloudPlaceholder.value,
        .isHardLinkDuplicate = fields.isHardLinkDuplicate.value,
        .risk = static_cast<RiskLevel>(fields.risk.value),
    };
    if (fields.identity.state == FieldState::sound)
        values.identity = {fields.identity.value.device.value, fields.identity.value.inode.value};
    if (fields.modifiedAt.state == FieldState::sound) values.modifiedAt = Date{fields.modifiedAt.value};
    storage.fill(row, values);
}

}  // namespace

class SnapshotDecoder::Implementation {
public:
    Implementation()
        : storage_{std::make_shared<RecordStorage>()},
          splitter_{JSONSplitter::Handler{
              .member = [this](std::string_view key) { return member(key); },
              .value = [this](std::string_view text) { value(text); },
              .elements = [this](std::string_view window, bool isLast) { elements(window, isLast); },
              .elementsAhead = [this](std::string_view text) { return plainRecords(text); }}} {}

    void feed(std::string_view piece) { splitter_.feed(piece); }

    ScanSnapshot finish() {
        splitter_.finish();
        const auto snapshotID = id_.state == FieldState::sound ? UUID::parse(id_.value) : std::nullopt;
        Requirements wants{""};
        wants.required("id", id_).holds("id", snapshotID.has_value()).required("scope", scope_);
        if (wants.error()) throw *wants.error();
        ScanScope scope = scope_.value.scope("scope");
        wants.required("startedAt", startedAt_).required("completedAt", completedAt_).required("records", records_);
        if (wants.error()) throw *wants.error();
        if (recordError_) throw *recordError_;
        wants.required("issues", issuesField_);
        if (wants.error()) throw *wants.error();
        if (issueError_) throw *issueError_;
        storage_->finishBuilding();
        return SnapshotAccess::make(*snapshotID, std::move(scope), Date{startedAt_.value}, Date{completedAt_.value},
                                    std::move(storage_), std::move(issues_));
    }

private:
    enum class Member { unknown, id, scope, startedAt, completedAt, records, issues };

    JSONSplitter::Wanted member(std::string_view rawKey) {
        std::string key{rawKey};
        if (rawKey.find('\\') != std::string_view::npos) {
            reader_.value("\"" + key + "\"", "", [&](json::value& value) {
                Field<std::string_view> field;
                read(value, field);
                if (field.state != FieldState::sound) malformed("", simdjson::STRING_ERROR);
                key = field.value;
            });
        }
        const auto take = [this](Member member, FieldState state) {
            member_ = state == FieldState::absent ? member : Member::unknown;
        };
        member_ = Member::unknown;
        if (key == "id")
            take(Member::id, id_.state);
        else if (key == "scope")
            take(Member::scope, scope_.state);
        else if (key == "startedAt")
            take(Member::startedAt, startedAt_.state);
        else if (key == "completedAt")
            take(Member::completedAt, completedAt_.state);
        else if (key == "records")
            take(Member::records, records_.state);
        else if (key == "issues")
            take(Member::issues, issuesField_.state);
        switch (member_) {
        case Member::unknown: return JSONSplitter::Wanted::nothing;
        case Member::records:
        case Member::issues: return JSONSplitter::Wanted::elements;
        default: return JSONSplitter::Wanted::value;
        }
    }

    void value(std::string_view text) {
        reader_.value(text, "", [&](json::value& value) {
            switch (member_) {
            case Member::id: keep(value, id_); break;
            case Member::scope: readFields(value, "scope", scope_); break;
            case Member::startedAt: read(value, startedAt_); break;
            case Member::completedAt: read(value, completedAt_); break;
            case Member::records: records_.state = failure(value); break;  // an array would have come as elements
            case Member::issues: issuesField_.state = failure(value); break;
            case Member::unknown: break;
            }
        });
    }

    void elements(std::string_view window, bool isLast) {
        if (member_ == Member::records) {
            if (isLast) records_.state = FieldState::sound;
            reader_.elements(window, "records", [&](json::value& value) { readRecord(value); });
        } else {
            if (isLast) issuesField_.state = FieldState::sound;
            reader_.elements(window, "issues", [&](json::value& value) { readIssue(value); });
        }
    }

    /// After a bad record nothing is stored any more, and the rest is only checked for its form.
    std::size_t plainRecords(std::string_view text) {
        if (member_ != Member::records || recordError_) return 0;
        const PlainRecordReader::Progress progress = plainReader_.read(text);
        recordCount_ += progress.records;
        return progress.bytes;
    }

    void readRecord(json::value value) {
        const auto at = [this] { return fmt::format("records[{}]", recordCount_); };
        Field<RecordFields> field;
        readFields(value, "records", field);
        if (recordError_) return;
        if (field.state != FieldState::sound) {
            recordError_ = noObject(field.state, at());
            return;
        }
        const RecordFields& fields = field.value;
        const auto id = fields.id.state == FieldState::sound ? UUID::parse(fields.id.value) : std::nullopt;
        if (fields.isSound(id)) {
            appendRow(*storage_, fields, *id);
        } else {
            recordError_ = fields.firstError(id, at());
        }
        ++recordCount_;
    }

    void readIssue(json::value value) {
        Field<IssueFields> field;
        readFields(value, "issues", field);
        if (issueError_) return;
        if (field.state != FieldState::sound) {
            issueError_ = noObject(field.state, "issues");
            return;
        }
        issueError_ = field.value.error(fmt::format("issues[{}]", issues_.size()));
        if (!issueError_) issues_.push_back(field.value.issue());
    }

    std::shared_ptr<RecordStorage> storage_;
    PlainRecordReader plainReader_{*storage_};
    TextReader reader_;
    Member member_ = Member::unknown;
    Field<std::string> id_;
    Field<ScopeFields> scope_;
    Field<double> startedAt_;
    Field<double> completedAt_;
    Field<bool> records_;      ///< only the state counts
    Field<bool> issuesField_;  ///< only the state counts
    std::vector<ScanIssue> issues_;
    std::size_t recordCount_ = 0;
    std::optional<DecodingError> recordError_;
    std::optional<DecodingError> issueError_;
    JSONSplitter splitter_;
};

SnapshotDecoder::SnapshotDecoder() : implementation_{std::make_unique<Implementation>()} {}
SnapshotDecoder::~SnapshotDecoder() = default;
void SnapshotDecoder::feed(std::string_view piece) { implementation_->feed(piece); }
ScanSnapshot SnapshotDecoder::finish() { return implementation_->finish(); }

ScanSnapshot ScanSnapshot::decodingJSON(std::string_view json) {
    SnapshotDecoder decoder;
    decoder.feed(json);
    return decoder.finish();
}

namespace {

/// Calls `read` with the one value that `text` is, and gives what it gives. Strict about the form of the whole text.
template <typename Read>
auto readAlone(std::string_view text, Read read) {
    skipJSON(text, 0);
    std::optional<decltype(read(std::declval<json::value&>()))> result;
    // Inside the reader: the fields' texts are its own.
    TextReader{}.value(text, "", [&](json::value& value) { result = read(value); });
    return *std::move(result);
}

/// The fields of the one object that the value is.
template <typename Fields>
Fields fieldsOf(json::value& value) {
    Field<Fields> field;
    readFields(value, "", field);
    if (field.state != FieldState::sound) throw noObject(field.state, "");
    return field.value;
}

/// The case whose raw value is the one number that the text is.
template <typename Enumeration>
Enumeration enumerationIn(std::string_view text) {
    return readAlone(text, [&](json::value& value) {
        Field<std::int64_t> field;
        read(value, field);
        Requirements wants{""};
        wants.required("", field).holds("", fromRawValue<Enumeration>(field.value).has_value());
        if (wants.error()) throw *wants.error();
        return *fromRawValue<Enumeration>(field.value);
    });
}

}  // namespace

template <>
FileIdentity decodingJSON<FileIdentity>(std::string_view text) {
    return readAlone(text, [](json::value& value) {
        const auto fields = fieldsOf<IdentityFields>(value);
        Requirements wants{""};
        wants.required("device", fields.device).required("inode", fields.inode);
        if (wants.error()) throw *wants.error();
        return FileIdentity{.device = fields.device.value, .inode = fields.inode.value};
    });
}

template <>
FileKind decodingJSON<FileKind>(std::string_view text) {
    return enumerationIn<FileKind>(text);
}

template <>
RiskLevel decodingJSON<RiskLevel>(std::string_view text) {
    return enumerationIn<RiskLevel>(text);
}

template <>
ScanScope decodingJSON<ScanScope>(std::string_view text) {
    return readAlone(text, [](json::value& value) { return fieldsOf<ScopeFields>(value).scope(""); });
}

template <>
FileRecord decodingJSON<FileRecord>(std::string_view text) {
    return readAlone(text, [](json::value& value) {
        const auto fields = fieldsOf<RecordFields>(value);
        const auto id = fields.id.state == FieldState::sound ? UUID::parse(fields.id.value) : std::nullopt;
        if (!fields.isSound(id)) throw fields.firstError(id, "");
        RecordStorage storage;
        appendRow(storage, fields, *id);
        return storage.record(0);
    });
}

template <>
ScanIssue decodingJSON<ScanIssue>(std::string_view text) {
    return readAlone(text, [](json::value& value) {
        const auto fields = fieldsOf<IssueFields>(value);
        if (const auto error = fields.error("")) throw *error;
        return fields.issue();
    });
}

}  // namespace KestrelCore
