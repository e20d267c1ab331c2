#include "Snapshot/RecordStorage.hpp"

#include "Base/FatalError.hpp"
#include "Base/Parallel.hpp"
#include "Base/SeededHash.hpp"
#include "Base/TextScan.hpp"
#include "Platform/LargeMemory.hpp"
#include "Snapshot/DerivedIdentifier.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstring>
#include <limits>
#include <ranges>
#include <utility>

// A million records as values would take half a gigabyte, most of it paths that repeat each other. What is kept
// instead:
//
//     folders     0  the top folder        parent 0   ""
//                 1  parent 0  "home"      path hash of /home
//                 2  parent 1  "anna"      path hash of /home/anna
//     rows        /home/anna/a.txt         folder 2, name at 17 in the arena, 5 bytes; sizes, date, bits
//     irregular   the scan's root          a row whose texts stand whole in a list beside the rows
//
// So a path costs a name. It is joined from the right, its length being known, and asked about without being joined: a
// path is hashed component by component, each with the hash of what is above it, so that a row's hash takes its
// folder's and its own name's; equality goes up both paths at once. Names are equal when their normal forms are, and
// whether a name is its own normal form stands beside it, so that hardly any is ever normalised.
//
// Rows lie in chunks, the arena in others: nothing moves while a scan fills them, and what was handed out stays valid.

namespace KestrelCore {

namespace {

constexpr std::string_view sourceFile = "KestrelCore/Model";
// Any two numbers that differ: what the hashes of absolute and of other paths begin with.
constexpr std::uint64_t topHash = 0x6A09E667F3BCC909U;
constexpr std::uint64_t relativeHash = 0xBB67AE8584CAA73BU;
constexpr std::size_t mostDevices = 256;  ///< what the eight bits of a row tell apart

struct FolderKey {
    RecordStorage::FolderIndex parent;
    std::string_view name;
    bool operator==(const FolderKey&) const = default;
};
struct FolderKeyHash {
    std::size_t operator()(const FolderKey& key) const {
        return static_cast<std::size_t>(seededHash(key.parent, seededHash(key.name)));
    }
};

}  // namespace

void NameArena::grow() {
    chunks_.push_back(std::make_shared_for_overwrite<char[]>(chunkSize));
    bytes_ += chunkSize;
    used_ = 0;
}

std::uint64_t NameArena::adopt(const std::shared_ptr<char[]>& bytes, std::size_t size) {
    const std::uint64_t offset = chunks_.size() * chunkSize;
    for (std::size_t at = 0; at < size; at += chunkSize) chunks_.emplace_back(bytes, bytes.get() + at);
    bytes_ += size;
    used_ = chunkSize;
    return offset;
}

/// Look-ups that only building needs.
struct RecordStorage::BuildState {
    boost::unordered_flat_map<FolderKey, FolderIndex, FolderKeyHash> folderByName;
    boost::unordered_flat_map<std::string_view, std::uint32_t, SeededHash> extensionByBytes;
    /// The folder asked for last and its path: the next one is mostly the same or near it in the tree.
    FolderIndex lastFolder = topFolder;
    std::string lastPath;
};

RecordStorage::RecordStorage() : build_{std::make_unique<BuildState>()} {
    folders_.push_back(Folder{.parent = topFolder,
                              .pathLength = 0,
                              .nameOffset = 0,
                              .nameLength = 0,
                              .isASCII = 1,
                              .isNormalized = 1,
                              .pathHash = topHash});
    (void)internExtension({});
}

RecordStorage::RecordStorage(const RecordStorage& other)
    : names_{other.names_}, folders_{other.folders_}, irregular_{other.irregular_}, extensions_{other.extensions_},
      devices_{other.devices_}, identifierSeed_{other.identifierSeed_} {}

RecordStorage::~RecordStorage() = default;

std::shared_ptr<RecordStorage> RecordStorage::copy(const std::function<bool(std::size_t)>& keeps) const {
    // Not make_shared: the constructor is private.
    std::shared_ptr<RecordStorage> result{new RecordStorage{*this}};
    for (std::size_t i = 0; i < size_; ++i) {
        if (!keeps(i)) continue;
        result->newRow() = row(i);
        if (identifierSeed_) {
            result->identifierNumbers_.push_back(identifierNumbers_[i]);
        } else {
            result->identifiers_.push_back(identifiers_[i]);
        }
    }
    return result;
}

std::optional<FileIdentity> RecordStorage::identityOf(const Row& row) const {
    // Beside the rows stands only what the device list had no room for.
    if (row.isIrregular && irregular(row).identity) return irregular(row).identity;
    if (!row.hasIdentity) return std::nullopt;
    return FileIdentity{.device = devices_[row.device], .inode = row.inode};
}

// Paths.

void RecordStorage::appendFolderPath(FolderIndex folder, std::string& out) const {
    // From the right: each name has its place, since the length of every folder's path is known.
    const std::size_t start = out.size();
    out.resize(start + folders_[folder].pathLength);
    while (folder != topFolder) {
        const Folder& node = folders_[folder];
        char* end = out.data() + start + node.pathLength;
        end[-static_cast<std::ptrdiff_t>(node.nameLength) - 1] = '/';
        if (node.nameLength > 0) std::memcpy(end - node.nameLength, nameOf(node).data(), node.nameLength);
        folder = node.parent;
    }
}

Text RecordStorage::folderPath(FolderIndex folder) const {
    if (folder == topFolder) return Text{"/"};
    std::string path;
    appendFolderPath(folder, path);
    return Text{path};
}

void RecordStorage::assignPath(const Row& row, std::string& out) const {
    out.clear();
    if (row.isIrregular) {
        out = irregular(row).path.view();
        return;
    }
    appendFolderPath(row.folder, out);
    out += '/';
    out += nameOf(row);
}

Text RecordStorage::path(const Row& row) const {
    if (row.isIrregular) return irregular(row).path;
    std::string path;
    assignPath(row, path);
    return Text{path};
}

std::optional<Text> RecordStorage::parentPath(const Row& row) const {
    if (row.isIrregular) return irregular(row).parentPath;
    return folderPath(row.folder);
}

FileRecord RecordStorage::record(std::size_t index) const { return record(index, path(row(index))); }

UUID RecordStorage::idOf(std::size_t index) const {
    return identifierSeed_ ? derivedIdentifier(*identifierSeed_, identifierNumbers_[index]) : identifiers_[index];
}

FileRecord RecordStorage::record(std::size_t index, Text path) const {
    const Row& r = row(index);
    // One buffer for all texts where that goes: it is at hand, and no two threads count the users of another.
    const Text& extension = extensions_[r.extension];
    const std::size_t beforeExtension = path.byteCount() - std::min(path.byteCount(), extension.byteCount());
    const bool endsInExtension = path.view().substr(beforeExtension) == extension.view();
    std::optional<Text> parent;
    Text name;
    if (r.isIrregular) {
        const Irregular& texts = irregular(r);
        parent = texts.parentPath;
        name = texts.name;
    } else {
        const std::size_t folderLength = folders_[r.folder].pathLength;
        parent = path.slice(0, std::max<std::size_t>(folderLength, 1));
        name = path.slice(folderLength + 1, r.nameLength);
    }
    Text fileExtension = endsInExtension ? path.slice(beforeExtension, extension.byteCount()) : extension;
    return FileRecord{idOf(index),
                      identityOf(r),
                      std::move(parent),
                      std::move(path),
                      std::move(name),
                      r.kind(),
                      r.logicalBytes,
                      r.allocatedBytes,
                      r.aggregateAllocatedBytes,
                      r.hasModified ? std::optional{Date{r.modifiedAt}} : std::nullopt,
                      std::move(fileExtension),
                      r.isHidden != 0,
                      r.isCloudPlaceholder != 0,
                      r.isHardLinkDuplicate != 0,
                      r.risk()};
}

void RecordStorage::makeRecords(std::span<const std::uint32_t> indices, const RecordSink& take) const {
    // Paths are joined into one text after the other and cut from it: one allocation for some hundred records. Not a
    // longer one, since one record that somebody keeps holds the whole text.
    constexpr std::size_t bytesPerBuffer = std::size_t{1} << 14;
    constexpr std::size_t manyRecords = 10'000;  // fewer are made sooner than a thread is
    const auto make = [&](std::size_t begin, const std::size_t end) {
        FolderPathReader folderPaths{*this};
        std::string batch;
        std::vector<std::size_t> ends;
        while (begin < end) {
            batch.clear();
            ends.clear();
            for (std::size_t i = begin; i < end && batch.size() < bytesPerBuffer; ++i) {
                const Row& r = row(indices[i]);
                if (r.isIrregular) {
                    batch += irregular(r).path.view();
                } else {
                    batch += folderPaths.prefix(r.folder);
                    batch += '/';
                    batch += nameOf(r);
                }
                ends.push_back(batch.size());
            }
            const Text paths{batch};
            std::size_t start = 0;
            for (const std::size_t pathEnd : ends) {
                take(begin, record(indices[begin], paths.slice(start, pathEnd - start)));
                ++begin;
                start = pathEnd;
            }
        }
    };
    if (indices.size() < manyRecords) return make(0, indices.size());
    const std::size_t middle = indices.size() / 2;
    inParallel([&] { make(0, middle); }, [&] { make(middle, indices.size()); });
}

// Hashes and equality of paths. Since "/" takes part in no composition, a path is equal to another exactly when their
// components are, and its normal form is that of its components joined.

std::uint64_t RecordStorage::nameHash(std::string_view name, bool isNormalized) {
    return isNormalized ? seededHash(name) : seededHash(normalizedUTF8(name));
}

std::uint64_t RecordStorage::pathHash(std::string_view path) {
    if (path.empty() || path.front() != '/') return seededHash(relativeHash, nameHash(path, isNormalizedUTF8(path)));
    std::uint64_t hash = topHash;
    const bool isNormalized = isNormalizedUTF8(path);
    std::size_t start = 1;
    while (true) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        hash = seededHash(hash, nameHash(path.substr(start, end - start), isNormalized));
        if (end == path.size()) return hash;
        start = end + 1;
    }
}

std::uint64_t RecordStorage::pathHash(const Row& row) const {
    if (row.isIrregular) return pathHash(irregular(row).path.view());
    return seededHash(folders_[row.folder].pathHash, nameHash(nameOf(row), row.isNormalized != 0));
}

bool RecordStorage::equalNames(std::string_view a, bool isNormalizedA, std::string_view b, bool isNormalizedB) {
    if (isNormalizedA && isNormalizedB) return a == b;
    return a == b || normalizedUTF8(a) == normalizedUTF8(b);
}

bool RecordStorage::hasPath(FolderIndex folder, const Text& path) const {
    // Both from their last components up: strangers mostly differ there, relatives mostly agree above.
    std::string_view rest = path.view();
    if (folder == topFolder) return rest == "/";
    const bool isNormalized = path.isNormalized();
    for (; folder != topFolder; folder = folders_[folder].parent) {
        const std::size_t slash = rest.rfind('/');
        if (slash == std::string_view::npos) return false;
        const Folder& node = folders_[folder];
        if (!equalNames(nameOf(node), node.isNormalized != 0, rest.substr(slash + 1), isNormalized)) return false;
        rest = rest.substr(0, slash);
    }
    return rest.empty();
}

bool RecordStorage::hasPath(const Row& row, const Text& path) const {
    if (row.isIrregular) return irregular(row).path == path;
    const std::string_view bytes = path.view();
    const std::size_t slash = bytes.rfind('/');
    if (slash == std::string_view::npos) return false;
    if (!equalNames(nameOf(row), row.isNormalized != 0, bytes.substr(slash + 1), path.isNormalized())) return false;
    return row.folder == topFolder ? slash == 0 : slash > 0 && hasPath(row.folder, path.slice(0, slash));
}

bool RecordStorage::haveEqualPaths(const Row& a, const Row& b) const {
    if (!a.isIrregular && !b.isIrregular && a.folder == b.folder) {
        return equalNames(nameOf(a), a.isNormalized != 0, nameOf(b), b.isNormalized != 0);
    }
    return hasPath(a, path(b));
}

// Building.

RecordStorage::BuildState& RecordStorage::building() {
    if (build_ == nullptr) fatalError(sourceFile, "Finished records are not built upon");
    return *build_;
}

RecordStorage::FolderIndex RecordStorage::addFolder(FolderIndex parent, std::string_view name) {
    const bool isASCIIName = isASCII(name);
    const bool isNormalized = isASCIIName || isNormalizedUTF8(name);
    const auto index = static_cast<FolderIndex>(folders_.size());
    folders_.push_back(Folder{.parent = parent,
                              .pathLength = static_cast<std::uint32_t>(folders_[parent].pathLength + 1 + name.size()),
                              .nameOffset = names_.add(name) & mostNameOffset,
                              .nameLength = name.size() & NameArena::longestName,
                              .isASCII = isASCIIName,
                              .isNormalized = isNormalized,
                              .pathHash = seededHash(folders_[parent].pathHash, nameHash(name, isNormalized))});
    return index;
}

RecordStorage::FolderIndex RecordStorage::addFolder(FolderIndex parent, const Row& ofRow) {
    const auto index = static_cast<FolderIndex>(folders_.size());
    folders_.push_back(
        Folder{.parent = parent,
               .pathLength = static_cast<std::uint32_t>(folders_[parent].pathLength + 1 + ofRow.nameLength),
               .nameOffset = ofRow.nameOffset,
               .nameLength = ofRow.nameLength,
               .isASCII = ofRow.isASCII,
               .isNormalized = ofRow.isNormalized,
               .pathHash = seededHash(folders_[parent].pathHash, nameHash(nameOf(ofRow), ofRow.isNormalized != 0))});
    return index;
}

RecordStorage::FolderIndex RecordStorage::childFolder(FolderIndex parent, std::string_view name) {
    auto& map = building().folderByName;
    if (const auto found = map.find(FolderKey{parent, name}); found != map.end()) return found->second;
    const FolderIndex index = addFolder(parent, name);
    map.emplace(FolderKey{parent, nameOf(folders_[index])}, index);
    return index;
}

std::optional<RecordStorage::FolderIndex> RecordStorage::folder(std::string_view path) {
    if (path.empty() || path.front() != '/') return std::nullopt;
    if (path.size() > std::numeric_limits<std::uint32_t>::max() / 2) return std::nullopt;
    if (path == "/") return topFolder;
    BuildState& state = building();
    if (path == state.lastPath) return state.lastFolder;
    // Asked before the first folder is made: a path is refused whole.
    for (std::size_t start = 1; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        if (end - start > NameArena::longestName) return std::nullopt;
        start = end + 1;
    }
    // Up from the last folder to the nearest one on the way, then down.
    const auto mismatch = std::mismatch(path.begin(), path.end(), state.lastPath.begin(), state.lastPath.end());
    const auto common = static_cast<std::size_t>(mismatch.first - path.begin());
    FolderIndex index = state.lastFolder;
    while (folders_[index].pathLength > common ||
           (folders_[index].pathLength < path.size() && path[folders_[index].pathLength] != '/')) {
        index = folders_[index].parent;
    }
    for (std::size_t start = folders_[index].pathLength + std::size_t{1}; start <= path.size();) {
        const std::size_t end = std::min(path.find('/', start), path.size());
        index = childFolder(index, path.substr(start, end - start));
        start = end + 1;
    }
    state.lastFolder = index;
    state.lastPath.assign(path);
    return index;
}

std::uint32_t RecordStorage::internExtension(std::string_view fileExtension) {
    auto& map = building().extensionByBytes;
    if (const auto found = map.find(fileExtension); found != map.end()) return found->second;
    const auto index = static_cast<std::uint32_t>(extensions_.size());
    if (index >> 27 != 0) fatalError(sourceFile, "Too many different file extensions");
    extensions_.emplace_back(fileExtension);
    // The text's buffer does not move with the list.
    map.emplace(extensions_.back().view(), index);
    return index;
}

RecordStorage::Row& RecordStorage::newRow() {
    // Positions have 32 bits everywhere. A scan ends at 2^26 entries, and a payload of so many would be two terabytes.
    if (size_ == std::numeric_limits<std::uint32_t>::max()) fatalError(sourceFile, "Too many records");
    if (size_ % rowsPerChunk == 0) chunks_.push_back(std::make_shared_for_overwrite<Row[]>(rowsPerChunk));
    Row& fresh = row(size_++);
    fresh = Row{};
    return fresh;
}

void RecordStorage::makeRows(std::size_t count) {
    if (count > std::numeric_limits<std::uint32_t>::max()) fatalError(sourceFile, "Too many records");
    const std::size_t chunks = (count + rowsPerChunk - 1) / rowsPerChunk;
    const auto memory = LargeMemory::allocate(chunks * rowsPerChunk * sizeof(Row));
    auto* const rows = reinterpret_cast<Row*>(memory.get());
    for (std::size_t i = 0; i < chunks; ++i) chunks_.emplace_back(memory, rows + i * rowsPerChunk);
    size_ = count;
}

RecordStorage::Row& RecordStorage::appendRegular(FolderIndex folder, std::string_view name) {
    const bool isASCIIName = isASCII(name);
    Row& fresh = newRow();
    fresh = regularRow(folder, names_.add(name), name.size(), isASCIIName, isASCIIName || isNormalizedUTF8(name));
    return fresh;
}

RecordStorage::Row& RecordStorage::appendIrregular(std::optional<Text> parentPath, Text path, Text name) {
    Row& fresh = newRow();
    makeIrregular(fresh, std::move(parentPath), std::move(path), std::move(name));
    return fresh;
}

void RecordStorage::makeIrregular(Row& row, std::optional<Text> parentPath, Text path, Text name) {
    row = Row{};
    row.isIrregular = 1;
    row.isASCII = name.isASCII();
    row.isNormalized = name.isNormalized();
    row.nameOffset = irregular_.size() & mostNameOffset;
    irregular_.push_back(Irregular{.parentPath = std::move(parentPath),
                                   .path = std::move(path),
                                   .name = std::move(name),
                                   .identity = std::nullopt});
}

RecordStorage::Row& RecordStorage::append(const std::optional<std::string_view>& parentPath, std::string_view path,
                                          std::string_view name) {
    // A name with a slash in it would be two components, and the joined path would not tell where the folder ends.
    if (parentPath && name.size() <= NameArena::longestName && path.size() > name.size() && path.ends_with(name)) {
        const std::string_view prefix = path.substr(0, path.size() - name.size());
        const bool isRegular = *parentPath == "/"
                                   ? prefix == "/"
                                   : prefix.back() == '/' && prefix.substr(0, prefix.size() - 1) == *parentPath;
        if (isRegular && name.find('/') == std::string_view::npos) {
            if (const auto index = folder(*parentPath)) return appendRegular(*index, name);
        }
    }
    return appendIrregular(parentPath ? std::optional{Text{*parentPath}} : std::nullopt, Text{path}, Text{name});
}

void RecordStorage::append(const FileRecord& record) {
    const auto parent = record.parentPath() ? std::optional{record.parentPath()->view()} : std::nullopt;
    Row& fresh = append(parent, record.path().view(), record.name().view());
    fill(fresh, {.id = record.id(),
                 .identity = record.identity(),
                 .kind = record.kind(),
                 .logicalBytes = record.logicalBytes(),
                 .allocatedBytes = record.allocatedBytes(),
                 .aggregateAllocatedBytes = record.aggregateAllocatedBytes(),
                 .modifiedAt = record.modifiedAt(),
                 .extension = internExtension(record.fileExtension().view()),
                 .isHidden = record.isHidden(),
                 .isCloudPlaceholder = record.isCloudPlaceholder(),
                 .isHardLinkDuplicate = record.isHardLinkDuplicate(),
                 .risk = record.risk()});
}

void RecordStorage::fill(Row& row, const Fields& fields) {
    if (fields.id) identifiers_.push_back(*fields.id);
    if (fields.identity) setIdentity(row, *fields.identity);
    setValues(row, fields);
}

std::optional<std::uint32_t> RecordStorage::deviceNumber(std::uint64_t device) {
    const auto found = std::find(devices_.begin(), devices_.end(), device);
    const auto position = static_cast<std::uint32_t>(found - devices_.begin());
    if (found == devices_.end()) {
        if (devices_.size() == mostDevices) return std::nullopt;
        devices_.push_back(device);
    }
    return position;
}

void RecordStorage::setIdentity(Row& row, const FileIdentity& identity) {
    if (const auto device = deviceNumber(identity.device)) return setIdentity(row, *device, identity.inode);
    // No row has room for one more device: this record keeps its identity, and so its texts, beside the rows.
    if (!row.isIrregular) {
        Irregular texts{parentPath(row), path(row), Text{nameOf(row)}, std::nullopt};
        row.isIrregular = 1;
        row.nameLength = 0;
        row.nameOffset = irregular_.size() & mostNameOffset;
        irregular_.push_back(std::move(texts));
    }
    irregular_[row.nameOffset].identity = identity;
}

void RecordStorage::reorder(std::vector<std::uint32_t>& order) {
    // Position i takes the row at order[i]. Where every row stays they are moved in place: of each cycle one row is put
    // aside, the others follow each other, and order[i] == i marks what is done. Where some are left out, the others
    // are copied into chunks of their own.
    const std::size_t kept = order.size();
    if (!identifiers_.empty()) {
        std::vector<UUID> identifiers;
        identifiers.reserve(kept);
        for (const std::uint32_t from : order) identifiers.push_back(identifiers_[from]);
        identifiers_ = std::move(identifiers);
    }
    if (kept == size_) {
        for (std::size_t start = 0; start < kept; ++start) {
            if (order[start] == start) continue;
            const Row first = row(start);
            std::size_t hole = start;
            while (order[hole] != start) {
                const std::size_t next = order[hole];
                row(hole) = row(next);
                order[hole] = static_cast<std::uint32_t>(hole);
                hole = next;
            }
            row(hole) = first;
            order[hole] = static_cast<std::uint32_t>(hole);
        }
        return;
    }
    std::vector<std::shared_ptr<Row[]>> chunks;
    for (std::size_t i = 0; i < kept; ++i) {
        if (i % rowsPerChunk == 0) chunks.push_back(std::make_shared_for_overwrite<Row[]>(rowsPerChunk));
        chunks[i / rowsPerChunk][i % rowsPerChunk] = row(order[i]);
    }
    chunks_ = std::move(chunks);
    size_ = kept;
}

void RecordStorage::deriveIdentifiers(const UUID& seed, std::vector<std::uint32_t> numbers) {
    identifierSeed_ = seed;
    identifierNumbers_ = std::move(numbers);
}

void RecordStorage::finishBuilding() {
    if ((identifierSeed_ ? identifierNumbers_.size() : identifiers_.size()) != size_) {
        fatalError(sourceFile, "A record has no identifier");
    }
    build_.reset();
    folders_.shrink_to_fit();
    irregular_.shrink_to_fit();
}

std::size_t RecordStorage::memoryBytes() const {
    return chunks_.size() * rowsPerChunk * sizeof(Row) + names_.memoryBytes() + folders_.capacity() * sizeof(Folder) +
           irregular_.capacity() * sizeof(Irregular) + identifierNumbers_.capacity() * sizeof(std::uint32_t) +
           identifiers_.capacity() * sizeof(UUID);
}

std::string_view FolderPathReader::prefix(RecordStorage::FolderIndex folder) {
    const std::vector<RecordStorage::Folder>& folders = storage_.folders();
    // Parents come before children, so of two folders the later one is never on the way to the earlier one.
    missing_.clear();
    while (true) {
        while (!chain_.empty() && chain_.back() > folder) chain_.pop_back();
        if (folder == RecordStorage::topFolder || (!chain_.empty() && chain_.back() == folder)) break;
        missing_.push_back(folder);
        folder = folders[folder].parent;
    }
    path_.resize(folders[folder].pathLength);
    for (const RecordStorage::FolderIndex each : std::ranges::reverse_view{missing_}) {
        path_ += '/';
        path_ += storage_.nameOf(folders[each]);
        chain_.push_back(each);
    }
    return path_;
}

}  // namespace KestrelCore
