#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// Bytes that never move once they are in: names are kept here, one after the other.
class NameArena {
public:
    /// Names up to this length live in the arena; a longer one makes its record irregular.
    static constexpr std::size_t longestName = 4095;

    /// Copies `name` (at most `longestName` bytes) and returns where it begins.
    std::uint64_t add(std::string_view name) {
        if (name.size() > chunkSize - used_) grow();
        const std::uint64_t offset = (chunks_.size() - 1) * chunkSize + used_;
        if (!name.empty()) __builtin_memcpy(chunks_.back().get() + used_, name.data(), name.size());
        used_ += name.size();
        return offset;
    }
    /// Takes over `size` bytes that hold names already, and returns where they begin.
    std::uint64_t adopt(const std::shared_ptr<char[]>& bytes, std::size_t size);
    [[nodiscard]] std::string_view name(std::uint64_t offset, std::size_t length) const {
        if (length == 0) return {};  // may begin where no chunk is yet
        return {chunks_[offset / chunkSize].get() + offset % chunkSize, length};
    }
    [[nodiscard]] std::size_t memoryBytes() const { return bytes_; }

    NameArena() = default;
    /// Shares what is there; what is added afterwards goes into chunks of the copy's own.
    NameArena(const NameArena& other) : chunks_{other.chunks_}, bytes_{other.bytes_} {}
    NameArena& operator=(const NameArena&) = delete;

private:
    static constexpr std::size_t chunkSize = std::size_t{1} << 18;

    void grow();

    /// Each begins `chunkSize` after the one before, as names are counted: of adopted bytes each is a part, and behind
    /// the last part some places stand for nothing.
    std::vector<std::shared_ptr<char[]>> chunks_;
    std::size_t used_ = chunkSize;  ///< of the last chunk
    std::size_t bytes_ = 0;         ///< that are held
};

/// The records of a snapshot in compact form: one fixed row a record, names in an arena, folders as a tree of names.
///
/// A record's path is its folder's path, "/" and its name, so no path is stored: a folder knows its parent and its own
/// name, and a path is joined when somebody asks. A record whose texts do not fit that pattern (the top of a scan,
/// which has no parent; anything odd in a payload) is irregular: its row points to texts kept beside the rows.
///
/// Built by one thread; afterwards read by any number.
class RecordStorage {
public:
    using FolderIndex = std::uint32_t;
    /// Names lie at most so far in the arena.
    static constexpr std::uint64_t mostNameOffset = (std::uint64_t{1} << 36) - 1;
    /// The folder "/": what it holds is named "/NAME".
    static constexpr FolderIndex topFolder = 0;

    /// A folder that records name as their parent, whether or not a record stands for it. Parents come before children.
    struct Folder {
        FolderIndex parent;
        std::uint32_t pathLength;  ///< bytes of the path; 0 for the top folder, whose path as a prefix is empty
        std::uint64_t nameOffset : 36;
        std::uint64_t nameLength : 12;
        std::uint64_t isASCII : 1;
        std::uint64_t isNormalized : 1;
        std::uint64_t pathHash;  ///< of the path under canonical equivalence
    };

    /// One record. 56 bytes; what decides the size of a snapshot in memory. Its identifier is derived, or kept apart.
    struct Row {
        std::uint64_t inode;
        std::int64_t logicalBytes;
        std::int64_t allocatedBytes;
        std::int64_t aggregateAllocatedBytes;
        double modifiedAt;              ///< seconds since the reference date, where `hasModified`
        std::uint64_t nameOffset : 36;  ///< in the arena; of an irregular row the position among the irregular texts
        std::uint64_t nameLength : 12;
        std::uint64_t device : 8;        ///< position among the devices, where `hasIdentity`
        std::uint64_t isASCII : 1;       ///< of the name
        std::uint64_t isNormalized : 1;  ///< of the name
        std::uint64_t isIrregular : 1;
        std::uint64_t hasIdentity : 1;
        std::uint64_t hasModified : 1;
        std::uint64_t isHidden : 1;
        std::uint64_t isCloudPlaceholder : 1;
        std::uint64_t isHardLinkDuplicate : 1;
        FolderIndex folder;            ///< meaningless for an irregular row
        std::uint32_t extension : 27;  ///< position among the extensions
        std::uint32_t kindValue : 3;
        std::uint32_t riskValue : 2;

        [[nodiscard]] FileKind kind() const { return static_cast<FileKind>(kindValue); }
        [[nodiscard]] RiskLevel risk() const { return static_cast<RiskLevel>(riskValue); }
        [[nodiscard]] bool isContainer() const { return kind() == FileKind::directory || kind() == FileKind::package; }
        [[nodiscard]] std::int64_t displayBytes() const {
            return isContainer() ? aggregateAllocatedBytes : allocatedBytes;
        }
    };
    static_assert(sizeof(Row) == 56);

    /// What a row holds beside its place and its name. The widths of the row's bits are known to `fill` alone.
    struct Fields {
        std::optional<UUID> id = std::nullopt;  ///< of every row, or of none where `deriveIdentifiers` comes at the end
        std::optional<FileIdentity> identity = std::nullopt;
        FileKind kind = FileKind::file;
        std::int64_t logicalBytes = 0;
        std::int64_t allocatedBytes = 0;
        std::int64_t aggregateAllocatedBytes = 0;
        std::optional<Date> modifiedAt = std::nullopt;
        std::uint32_t extension = 0;  ///< as `internExtension` has given it; 0 is the empty one
        bool isHidden = false;
        bool isCloudPlaceholder = false;
        bool isHardLinkDuplicate = false;
        RiskLevel risk = RiskLevel::normal;
    };

    /// The texts of an irregular row, and its identity where the device list is full.
    struct Irregular {
        std::optional<Text> parentPath;
        Text path;
        Text name;
        std::optional<FileIdentity> identity;
    };

    RecordStorage();
    ~RecordStorage();
    RecordStorage& operator=(const RecordStorage&) = delete;

    /// A finished copy with only the rows for which `keeps` is true, in their order; names are shared.
    [[nodiscard]] std::shared_ptr<RecordStorage> copy(const std::function<bool(std::size_t)>& keeps) const;

    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] const Row& row(std::size_t index) const {
        return chunks_[index / rowsPerChunk][index % rowsPerChunk];
    }
    [[nodiscard]] Row& row(std::size_t index) { return chunks_[index / rowsPerChunk][index % rowsPerChunk]; }
    [[nodiscard]] const std::vector<Folder>& folders() const { return folders_; }
    [[nodiscard]] const Irregular& irregular(const Row& row) const { return irregular_[row.nameOffset]; }
    [[nodiscard]] const std::vector<Text>& extensions() const { return extensions_; }

    [[nodiscard]] std::string_view nameOf(const Folder& folder) const {
        return names_.name(folder.nameOffset, folder.nameLength);
    }
    /// The name's bytes (well-formed UTF-8), also of an irregular row.
    [[nodiscard]] std::string_view nameOf(const Row& row) const {
        if (row.isIrregular) return irregular(row).name.view();
        return names_.name(row.nameOffset, row.nameLength);
    }
    /// The bytes of a name that lies in the arena.
    [[nodiscard]] std::string_view nameAt(std::uint64_t offset, std::size_t length) const {
        return names_.name(offset, length);
    }
    [[nodiscard]] std::optional<FileIdentity> identityOf(const Row& row) const;

    /// The folder's path as records name it in `parentPath`: "/" for the top folder.
    [[nodiscard]] Text folderPath(FolderIndex folder) const;
    /// Replaces `out` by the record's path.
    void assignPath(const Row& row, std::string& out) const;
    [[nodiscard]] Text path(const Row& row) const;
    [[nodiscard]] std::optional<Text> parentPath(const Row& row) const;
    [[nodiscard]] FileRecord record(std::size_t index) const;
    [[nodiscard]] UUID idOf(std::size_t index) const;
    /// From what and which numbers identifiers are derived; empty where they came with the records.
    [[nodiscard]] const std::optional<UUID>& identifierSeed() const { return identifierSeed_; }
    [[nodiscard]] std::uint32_t identifierNumber(std::size_t index) const { return identifierNumbers_[index]; }
    /// Gets a position in the list of indices and the record made for it.
    using RecordSink = std::function<void(std::size_t position, FileRecord&& record)>;
    /// Makes the records at `indices`, which should ascend: then many are made faster than one by one, and neighbours
    /// share buffers of some KiB. Of many, two threads make a half each and call `take`, which must not throw.
    void makeRecords(std::span<const std::uint32_t> indices, const RecordSink& take) const;

    /// Hash of a path under canonical equivalence, the one that folders and `pathHash(row)` give: component by
    /// component.
    [[nodiscard]] static std::uint64_t pathHash(std::string_view path);
    [[nodiscard]] std::uint64_t pathHash(const Row& row) const;
    /// Whether a row's (a folder's) path equals `path` under canonical equivalence.
    [[nodiscard]] bool hasPath(const Row& row, const Text& path) const;
    [[nodiscard]] bool hasPath(FolderIndex folder, const Text& path) const;
    [[nodiscard]] bool haveEqualPaths(const Row& a, const Row& b) const;
    /// Whether two names are canonically equal.
    [[nodiscard]] static bool equalNames(std::string_view a, bool isNormalizedA, std::string_view b,
                                         bool isNormalizedB);

    // Building.

    /// A new folder below `parent`; `name` has at most `NameArena::longestName` bytes. No look for an equal one.
    FolderIndex addFolder(FolderIndex parent, std::string_view name);
    /// The same for a folder whose record is the regular row `ofRow`: the name's bytes are shared.
    FolderIndex addFolder(FolderIndex parent, const Row& ofRow);
    /// The folder with exactly that path (as a parent path), made where it is missing; empty for a path that has no
    /// such form: one that is not absolute, or has a component longer than `NameArena::longestName`.
    [[nodiscard]] std::optional<FolderIndex> folder(std::string_view path);
    /// Position of the extension in `extensions`, added where it is missing.
    [[nodiscard]] std::uint32_t internExtension(std::string_view fileExtension);
    /// A new row at the end, name set and everything else zero: `fill` comes next. `name` is well-formed and at most
    /// `NameArena::longestName` bytes.
    Row& appendRegular(FolderIndex folder, std::string_view name);
    /// A new irregular row at the end, everything but its texts zero.
    Row& appendIrregular(std::optional<Text> parentPath, Text path, Text name);
    /// Picks the form that fits: regular when the three texts follow the pattern, byte for byte.
    Row& append(const std::optional<std::string_view>& parentPath, std::string_view path, std::string_view name);
    void append(const FileRecord& record);
    /// Gives a row that was just appended all that is not its place or its name. With more than 256 devices it makes
    /// the row irregular.
    void fill(Row& row, const Fields& fields);
    /// Reorders the rows: position i gets the row that was at order[i]; rows that `order` leaves out are dropped.
    /// `order` is used up.
    void reorder(std::vector<std::uint32_t>& order);
    /// Gives the rows, which must have none, the identifiers of these numbers, one for each; see `derivedIdentifier`.
    void deriveIdentifiers(const UUID& seed, std::vector<std::uint32_t> numbers);

    // Building where it is known beforehand how many rows there are and in which order: any thread sets rows of its
    // own, and all of them must be set.

    /// Makes `count` rows of no value. There must be none yet.
    void makeRows(std::size_t count);
    /// Takes over bytes that hold names, and gives where they begin: what `nameOffset` counts from.
    std::uint64_t adoptNames(const std::shared_ptr<char[]>& bytes, std::size_t size) {
        return names_.adopt(bytes, size);
    }
    /// A row in `folder` whose name lies among the arena's; everything else zero.
    [[nodiscard]] static Row regularRow(FolderIndex folder, std::uint64_t nameOffset, std::size_t nameLength,
                                        bool isASCII, bool isNormalized);
    /// Makes a row irregular. One thread only.
    void makeIrregular(Row& row, std::optional<Text> parentPath, Text path, Text name);
    /// The number that rows have for the device; empty when 256 others have been given. One thread only.
    [[nodiscard]] std::optional<std::uint32_t> deviceNumber(std::uint64_t device);
    /// Gives a row all that is not its place, its name, its identifier or its identity.
    static void setValues(Row& row, const Fields& fields);
    /// `device` as `deviceNumber` gave it.
    static void setIdentity(Row& row, std::uint32_t device, std::uint64_t inode);
    /// Gives the row an identity whatever its device; as `fill` says. One thread only.
    void setIdentity(Row& row, const FileIdentity& identity);
    /// The identifiers of the rows, one for each.
    void takeIdentifiers(std::vector<UUID> identifiers) { identifiers_ = std::move(identifiers); }

    /// Frees what only building needed.
    void finishBuilding();

    /// Bytes held, for budgets.
    [[nodiscard]] std::size_t memoryBytes() const;

private:
    static constexpr std::size_t rowsPerChunk = 4096;
    struct BuildState;

    [[nodiscard]] BuildState& building();
    [[nodiscard]] FolderIndex childFolder(FolderIndex parent, std::string_view name);
    Row& newRow();
    /// Appends the folder's path as a prefix: empty for the top folder, else without a trailing slash.
    void appendFolderPath(FolderIndex folder, std::string& out) const;
    /// `path` is the row's own.
    [[nodiscard]] FileRecord record(std::size_t index, Text path) const;
    RecordStorage(const RecordStorage& other);  ///< everything but the rows
    [[nodiscard]] static std::uint64_t nameHash(std::string_view name, bool isNormalized);

    std::vector<std::shared_ptr<Row[]>> chunks_;  ///< of rows that were made at once each is a part
    std::size_t size_ = 0;
    NameArena names_;
    std::vector<Folder> folders_;
    std::vector<Irregular> irregular_;
    std::vector<Text> extensions_;
    std::vector<std::uint64_t> devices_;
    std::optional<UUID> identifierSeed_;
    std::vector<std::uint32_t> identifierNumbers_;  ///< of each row, where there is a seed
    std::vector<UUID> identifiers_;                 ///< of each row, where there is none
    std::unique_ptr<BuildState> build_;
};

// Called for each row that is loaded.

inline RecordStorage::Row RecordStorage::regularRow(FolderIndex folder, std::uint64_t nameOffset,
                                                    std::size_t nameLength, bool isASCII, bool isNormalized) {
    Row row{};
    row.folder = folder;
    row.nameOffset = nameOffset & mostNameOffset;
    row.nameLength = nameLength & NameArena::longestName;
    row.isASCII = isASCII;
    row.isNormalized = isNormalized;
    return row;
}

inline void RecordStorage::setValues(Row& row, const Fields& fields) {
    row.logicalBytes = fields.logicalBytes;
    row.allocatedBytes = fields.allocatedBytes;
    row.aggregateAllocatedBytes = fields.aggregateAllocatedBytes;
    row.hasModified = fields.modifiedAt.has_value();
    row.modifiedAt = fields.modifiedAt ? fields.modifiedAt->secondsSinceReferenceDate : 0;
    row.extension = fields.extension & ((1U << 27) - 1);
    row.kindValue = static_cast<std::uint32_t>(fields.kind) & 7U;
    row.riskValue = static_cast<std::uint32_t>(fields.risk) & 3U;
    row.isHidden = fields.isHidden;
    row.isCloudPlaceholder = fields.isCloudPlaceholder;
    row.isHardLinkDuplicate = fields.isHardLinkDuplicate;
}

inline void RecordStorage::setIdentity(Row& row, std::uint32_t device, std::uint64_t inode) {
    row.hasIdentity = 1;
    row.device = device & 255U;
    row.inode = inode;
}

/// Joins the paths of folders that are asked for one after the other: only what differs from the folder before is
/// joined again, and neighbours mostly share all but a name.
class FolderPathReader {
public:
    explicit FolderPathReader(const RecordStorage& storage) : storage_{storage} {}

    /// The folder's path as a prefix: empty for the top folder, else without a trailing slash. Valid until the next
    /// call.
    [[nodiscard]] std::string_view prefix(RecordStorage::FolderIndex folder);

private:
    const RecordStorage& storage_;
    std::string path_;
    std::vector<RecordStorage::FolderIndex> chain_;    ///< the folders on the way to `path_`, the top one left out
    std::vector<RecordStorage::FolderIndex> missing_;  ///< of one call, deepest first
};

}  // namespace KestrelCore
