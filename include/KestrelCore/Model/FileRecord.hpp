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
#include <utility>

namespace KestrelCore {

/// One scanned item. A value: built whole, compared over all its fields; only the aggregate size can be set afterwards.
/// A record that was moved from may be assigned to and destroyed, nothing else. Any number of threads may read one.
///
/// What it is made of is no host's business: no function has its body here (but for the one that takes `Fields` apart
/// in the host, whose order may grow for new hosts), and the size has room to spare. So a host runs with every library
/// of one major version, wherever fields have moved to or come to in it. That costs a call for each answer; a pointer
/// to fields kept elsewhere would cost an allocation for each of many records instead.
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
    explicit FileRecord(Fields fields)
        : FileRecord{fields.id,
                     fields.identity,
                     std::move(fields.parentPath),
                     std::move(fields.path),
                     std::move(fields.name),
                     fields.kind,
                     fields.logicalBytes,
                     fields.allocatedBytes,
                     fields.aggregateAllocatedBytes,
                     fields.modifiedAt,
                     std::move(fields.fileExtension),
                     fields.isHidden,
                     fields.isCloudPlaceholder,
                     fields.isHardLinkDuplicate,
                     fields.risk} {}
    /// The same in the order of `Fields`.
    FileRecord(UUID id, std::optional<FileIdentity> identity, std::optional<Text> parentPath, Text path, Text name,
               FileKind kind, std::int64_t logicalBytes, std::int64_t allocatedBytes,
               std::int64_t aggregateAllocatedBytes, std::optional<Date> modifiedAt, Text fileExtension, bool isHidden,
               bool isCloudPlaceholder, bool isHardLinkDuplicate, RiskLevel risk);

    FileRecord(const FileRecord& other);
    FileRecord(FileRecord&& other) noexcept;
    FileRecord& operator=(const FileRecord& other);
    FileRecord& operator=(FileRecord&& other) noexcept;
    ~FileRecord();

    [[nodiscard]] const UUID& id() const;
    /// Device and inode; absent when unknown.
    [[nodiscard]] std::optional<FileIdentity> identity() const;
    /// Absolute path of the containing directory; absent for the top of a scan.
    [[nodiscard]] const std::optional<Text>& parentPath() const;
    [[nodiscard]] const Text& path() const;  ///< absolute, no trailing slash
    [[nodiscard]] const Text& name() const;  ///< last path component as shown to the user
    [[nodiscard]] FileKind kind() const;
    [[nodiscard]] std::int64_t logicalBytes() const;    ///< size of the content
    [[nodiscard]] std::int64_t allocatedBytes() const;  ///< on disk, for the item itself
    /// On disk, for the item and everything beneath it; meaningful for containers.
    [[nodiscard]] std::int64_t aggregateAllocatedBytes() const;
    void setAggregateAllocatedBytes(std::int64_t bytes);
    /// Of the content; absent when unknown.
    [[nodiscard]] std::optional<Date> modifiedAt() const;
    [[nodiscard]] const Text& fileExtension() const;  ///< lowercased, no dot; empty when there is none
    [[nodiscard]] bool isHidden() const;
    /// The content is in cloud storage and not on this disk.
    [[nodiscard]] bool isCloudPlaceholder() const;
    /// A further hard link to an inode that the same scan has already counted.
    [[nodiscard]] bool isHardLinkDuplicate() const;
    [[nodiscard]] RiskLevel risk() const;

    /// Whether the item is a directory or a package.
    [[nodiscard]] bool isContainer() const;
    /// The size shown for the item, in bytes: the aggregate of a container, the allocated bytes of anything else.
    [[nodiscard]] std::int64_t displayBytes() const;
    /// A file URL made from `path`, without a trailing slash.
    [[nodiscard]] URL url() const;

    bool operator==(const FileRecord& other) const;

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
    [[maybe_unused]] std::uint64_t room_[2]{};  ///< what a new field takes its bytes from
};

}  // namespace KestrelCore

template <>
struct KESTRELCORE_EXPORT std::hash<KestrelCore::FileRecord> {
    std::size_t operator()(const KestrelCore::FileRecord& record) const;
};
