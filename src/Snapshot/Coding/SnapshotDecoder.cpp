#include "Snapshot/Coding/PlainRecordReader.hpp"
#include "Snapshot/Coding/SnapshotCoding.hpp"
#include "Snapshot/RecordStorage.hpp"
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
};

void read(json::value value, Field<IdentityFields>& field) {
    json::object object;
    if (value.get_object().get(object) != simdjson::SUCCESS) {
        field.state = failure(value);
        return;
    }
    field.state = FieldState::sound;
    readMembers(object, "identity", [&](std::string_view key, json::value member) {
        if (key == "device") return readFirst(member, field.value.device);
        return key == "inode" && readFirst(member, field.value.inode);
    });
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
               fileKind(kind.value) && riskLevel(risk.value);
    }

    [[nodiscard]] DecodingError firstError(const std::optional<UUID>& parsedID, const std::string& at) const {
        Requirements wants{at};
        wants.required("id", id).holds("id", parsedID.has_value()).optional("identity", identity);
        if (identity.state == FieldState::sound) {
            wants.required("identity.device", identity.value.device).required("identity.inode", identity.value.inode);
        }
        wants.optional("parentPath", parentPath).required("path", path).required("name", name).required("kind", kind);
        wants.holds("kind", fileKind(kind.value).has_value());
        wants.required("logicalBytes", logicalBytes)
            .required("allocatedBytes", allocatedBytes)
            .required("aggregateAllocatedBytes", aggregateAllocatedBytes)
            .optional("modifiedAt", modifiedAt)
            .required("fileExtension", fileExtension)
            .required("isHidden", isHidden)
            .required("isCloudPlaceholder", isCloudPlaceholder)
            .required("isHardLinkDuplicate", isHardLinkDuplicate)
            .required("risk", risk)
            .holds("risk", riskLevel(risk.value).has_value());
        return *wants.error();
    }
};

void appendRow(RecordStorage& storage, const RecordFields& fields, const UUID& id) {
    RecordStorage::Row& row = storage.append(fields.parentPath.optional(), fields.path.value, fields.name.value);
    row.id = id;
    if (fields.identity.state == FieldState::sound) {
        storage.setIdentity(row, FileIdentity{.device = fields.identity.value.device.value,
                                              .inode = fields.identity.value.inode.value});
    }
    row.logicalBytes = fields.logicalBytes.value;
    row.allocatedBytes = fields.allocatedBytes.value;
    row.aggregateAllocatedBytes = fields.aggregateAllocatedBytes.value;
    if (fields.modifiedAt.state == FieldState::sound) {
        row.hasModified = 1;
        row.modifiedAt = fields.modifiedAt.value;
    }
    row.extension = storage.internExtension(fields.fileExtension.value) & ((1U << 27) - 1);
    row.kindValue = static_cast<std::uint32_t>(fields.kind.value) & 7U;
    row.riskValue = static_cast<std::uint32_t>(fields.risk.value) & 3U;
    row.isHidden = fields.isHidden.value;
    row.isCloudPlaceholder = fields.isCloudPlaceholder.value;
    row.isHardLinkDuplicate = fields.isHardLinkDuplicate.value;
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
        std::optional<URL> root;
        if (scope_.state == FieldState::sound) {
            const ScopeFields& scope = scope_.value;
            if (scope.root.state == FieldState::sound) root = URL::parse(Text{scope.root.value});
            wants.required("scope.root", scope.root)
                .holds("scope.root", root.has_value())
                .required("scope.displayName", scope.displayName)
                .required("scope.volumeIdentifier", scope.volumeIdentifier);
        }
        wants.required("startedAt", startedAt_).required("completedAt", completedAt_).required("records", records_);
        if (wants.error()) throw *wants.error();
        if (recordError_) throw *recordError_;
        wants.required("issues", issuesField_);
        if (wants.error()) throw *wants.error();
        if (issueError_) throw *issueError_;
        storage_->finishBuilding();
        return ScanSnapshot{
            *snapshotID,
            ScanScope::stored(*root, Text{scope_.value.displayName.value}, Text{scope_.value.volumeIdentifier.value}),
            Date{startedAt_.value},
            Date{completedAt_.value},
            std::move(storage_),
            std::move(issues_)};
    }

private:
    enum class Member { unknown, id, scope, startedAt, completedAt, records, issues };
    struct ScopeFields {
        Field<std::string> root;
        Field<std::string> displayName;
        Field<std::string> volumeIdentifier;
    };

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

    static bool keep(json::value value, Field<std::string>& field) {
        if (field.state != FieldState::absent) return false;
        Field<std::string_view> view;
        read(value, view);
        field.state = view.state;
        field.value = view.value;
        return true;
    }

    void value(std::string_view text) {
        reader_.value(text, "", [&](json::value& value) {
            switch (member_) {
            case Member::id: keep(value, id_); break;
            case Member::scope: readScope(value); break;
            case Member::startedAt: read(value, startedAt_); break;
            case Member::completedAt: read(value, completedAt_); break;
            case Member::records: records_.state = failure(value); break;  // an array would have come as elements
            case Member::issues: issuesField_.state = failure(value); break;
            case Member::unknown: break;
            }
        });
    }

    void readScope(json::value value) {
        json::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) {
            scope_.state = failure(value);
            return;
        }
        scope_.state = FieldState::sound;
        readMembers(object, "scope", [&](std::string_view key, json::value member) {
            if (key == "root") return keep(member, scope_.value.root);
            if (key == "displayName") return keep(member, scope_.value.displayName);
            return key == "volumeIdentifier" && keep(member, scope_.value.volumeIdentifier);
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
        json::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) {
            const Kind kind = failure(value) == FieldState::null ? Kind::valueNotFound : Kind::typeMismatch;
            if (!recordError_) recordError_ = DecodingError{kind, at(), "Not an object"};
            return;
        }
        RecordFields fields;
        readMembers(object, "records",
                    [&](std::string_view key, json::value member) { return fields.readMember(key, member); });
        if (recordError_) return;
        const auto id = fields.id.state == FieldState::sound ? UUID::parse(fields.id.value) : std::nullopt;
        if (fields.isSound(id)) {
            appendRow(*storage_, fields, *id);
        } else {
            recordError_ = fields.firstError(id, at());
        }
        ++recordCount_;
    }

    void readIssue(json::value value) {
        json::object object;
        if (value.get_object().get(object) != simdjson::SUCCESS) {
            const Kind kind = failure(value) == FieldState::null ? Kind::valueNotFound : Kind::typeMismatch;
            if (!issueError_) issueError_ = DecodingError{kind, "issues", "Not an object"};
            return;
        }
        Field<std::string_view> path;
        Field<std::string_view> message;
        readMembers(object, "issues", [&](std::string_view key, json::value member) {
            if (key == "path") return readFirst(member, path);
            return key == "message" && readFirst(member, message);
        });
        if (issueError_) return;
        Requirements wants{fmt::format("issues[{}]", issues_.size())};
        wants.required("path", path).required("message", message);
        issueError_ = wants.error();
        if (!issueError_) issues_.push_back(ScanIssue{Text{path.value}, Text{message.value}});
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

}  // namespace KestrelCore
