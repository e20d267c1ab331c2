#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileKind.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace KestrelCore {

/// One scanned item. A value: built whole, compared over all its fields; only the aggregate size can be set afterwards,
/// so that the way records are kept may change without changing hosts.
class KESTRELCORE_EXPORT FileRecord {
public:
    /// All that a record holds, by name, with the units and meanings of the accessors of these names. What is left out
    /// is a plain file of no size about which nothing is known.
    ///
    ///     const FileRecord file{{.id = UUID::random(), .path = "/home/anna/a.txt", .name = "a.txt"}};
    struct Fields {
        UUID id{};
        std::optional<FileIdentity> identity{};
        std::optional<Text> parentPath{};
        Text path{};
        Text name{};
        FileKind kind = FileKind::file;
        std::int64_t logicalBytes = 0;
        std::int64_t allocatedBytes = 0;
        std::int64_t aggregateAllocatedBytes = 0;
        std::optional<Date> modifiedAt{};
        Text fileExtension{};
        bool isHidden = false;
        bool isCloudPlaceholder = false;
        bool isHardLinkDuplicate = false;
        RiskLevel risk = RiskLevel::normal;
    };

    /// Nothing is checked, and nothing made of anything else: name and extension are not taken from the path.
    explicit FileRecord(Fields fields);
    /// The same in the order of `Fields`.
    FileRecord(UUID id, std::optional<FileIdentity> identity, std::optional<Text> parentPath, Text path, Text name,
               FileKind kind, std::int64_t logicalBytes, std::int64_t allocatedBytes,
               std::int64_t aggregateAllocatedBytes, std::optional<Date> modifiedAt, Text fileExtension, bool isHidden,
               bool isCloudPlaceholder, bool isHardLinkDuplicate, RiskLevel risk);

    [[nodiscard]] const UUID& id() const { return id_; }
    /// Device and inode; absent when unknown.
    [[nodiscard]] std::optional<FileIdentity> identity() const {
        return hasIdentity_ ? std::optional{identity_} : std::nullopt;
    }
    /// Absolute path of the containing directory; absent for the top of a scan.
    [[nodiscard]] const std::optional<Text>& parentPath() const { return parentPath_; }
    [[nodiscard]] const Text& path() const { return path_; }  ///< absolute, no trailing slash
    [[nodiscard]] const Text& name() const { return name_; }  ///< last path component as shown to the user
    [[nodiscard]] FileKind kind() const { return kind_; }
    [[nodiscard]] std::int64_t logicalBytes() const { return logicalBytes_; }      ///< size of the content
    [[nodiscard]] std::int64_t allocatedBytes() const { return allocatedBytes_; }  ///< on disk, for the item itself
    /// On disk, for the item and everything beneath it; meaningful for containers.
    [[nodiscard]] std::int64_t aggregateAllocatedBytes() const { return aggregateAllocatedBytes_; }
    void setAggregateAllocatedBytes(std::int64_t bytes) { aggregateAllocatedBytes_ = bytes; }
    /// Of the content; absent when unknown.
    [[nodiscard]] std::optional<Date> modifiedAt() const {
        return hasModified_ ? std::optional{modifiedAt_} : std::nullopt;
    }
    [[nodiscard]] const Text& fileExtension() const {
        return fileExtension_;
    }  ///< lowercased, no dot; empty when there is none
    [[nodiscard]] bool isHidden() const { return isHidden_; }
    /// The content is in cloud storage and not on this disk.
    [[nodiscard]] bool isCloudPlaceholder() const { return isCloudPlaceholder_; }
    /// A further hard link to an inode that the same scan has already counted.
    [[nodiscard]] bool isHardLinkDuplicate() const { return isHardLinkDuplicate_; }
    [[nodiscard]] RiskLevel risk() const { return risk_; }

    /// Whether the item is a directory or a package.
    [[nodiscard]] bool isContainer() const { return kind_ == FileKind::directory || kind_ == FileKind::package; }
    /// The size shown for the item: the aggregate of a container, the allocated bytes of anything else.
    [[nodiscard]] std::int64_t displayBytes() const {
        return isContainer() ? aggregateAllocatedBytes_ : allocatedBytes_;
    }
    /// A file URL made from `path`.
    [[nodiscard]] URL url() const { return URL::fromPath(path_); }

    bool operator==(const FileRecord&) const = default;

private:
    // In an order that leaves no gaps: the libraries hold many records at once.
    UUID id_;
    std::optional<Text> parentPath_;
    Text path_;
    Text name_;
    Text fileExtension_;
    FileIdentity identity_;  ///< zero where there is none
    std::int64_t logicalBytes_;
    std::int64_t allocatedBytes_;
    std::int64_t aggregateAllocatedBytes_;
    Date modifiedAt_;  ///< zero where there is none
    FileKind kind_;
    RiskLevel risk_;
    bool hasIdentity_;
    bool hasModified_;
    bool isHidden_;
    bool isCloudPlaceholder_;
    bool isHardLinkDuplicate_;
};

}  // namespace KestrelCore

template <>
struct KESTRELCORE_EXPORT std::hash<KestrelCore::FileRecord> {
    std::size_t operator()(const KestrelCore::FileRecord& record) const;
};
