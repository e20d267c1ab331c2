#include "KestrelCore/Exchange/PublicationRows.hpp"

#include "Exchange/ExportWriter.hpp"
#include "Exchange/RowBinary.hpp"
#include "Exchange/SearchKeys.hpp"
#include "KestrelCore/Model/ItemCategory.hpp"
#include "Snapshot/SnapshotAccess.hpp"
#include "Snapshot/SummaryClasses.hpp"
#include "Snapshot/SummaryGroups.hpp"
#include "Snapshot/WalkedTree.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

// Files go out in the order of the scan, one row a record, with what many rows share (the key, a folder's path, an
// extension) spelled once and copied. Folders go out when a walk leaves them, with sums that were added up on the way;
// so neither needs more memory for more items than a batch, and of hard links their identities.

namespace KestrelCore {

namespace {

constexpr std::int64_t rowsPerLook = 4096;

/// Of a row of `files`; told in the schema.
enum Flag : std::uint16_t {
    isHidden = 1,
    isCloudPlaceholder = 2,
    isFurtherLink = 4,
    hasIdentity = 8,
    hasModified = 16,
    hasParent = 32,
    hasLabel = 64,
    nameIsPath = 128,
    parentIsElsewhere = 256
};

class Cancelled {};

/// Rows on their way out, batch by batch.
class Batches {
public:
    Batches(const PublicationRows::Sink& sink, const CancellationToken& cancellation)
        : sink_{sink}, cancellation_{cancellation} {}

    [[nodiscard]] std::string& text() { return text_; }
    void endRow() {
        if (++rows_ % rowsPerLook == 0 && cancellation_.isCancelled()) throw Cancelled{};
        if (rows_ - handedOut_ == PublicationRows::mostRows || text_.size() >= PublicationRows::mostBytes) handOut();
    }
    /// Gives the number of all rows.
    std::int64_t finish() {
        if (rows_ > handedOut_) handOut();
        return rows_;
    }

private:
    void handOut() {
        const std::size_t size = text_.size();
        const std::int64_t count = rows_ - std::exchange(handedOut_, rows_);
        sink_(std::move(text_), count);
        text_ = {};
        text_.reserve(size + size / 16);
    }

    const PublicationRows::Sink& sink_;
    const CancellationToken& cancellation_;
    std::string text_;
    std::int64_t rows_ = 0;
    std::int64_t handedOut_ = 0;
};

std::string spelled(std::string_view text) {
    std::string bytes;
    RowBinary{bytes}.text(text);
    return bytes;
}

std::string spelled(const PublicationKey& key) {
    std::string bytes;
    RowBinary row{bytes};
    row.text(key.host);
    row.text(key.volume);
    row.number(key.publication);
    return bytes;
}

/// Seconds since 1970 as the store's dates hold them, the nearest of them; 0 for none.
std::uint32_t storedDate(double secondsSinceReferenceDate) {
    const double seconds = std::floor(secondsSinceReferenceDate + Date::secondsFrom1970ToReference);
    if (!(seconds > 0)) return 0;
    constexpr double most = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::min(seconds, most));
}

/// A path as the two columns that it is put together of.
struct SplitPath {
    std::string_view dir;
    std::string_view name;
    bool nameIsPath = false;

    static SplitPath of(std::string_view path) {
        const std::size_t slash = path.rfind('/');
        if (path == "/") return {.dir = {}, .name = {}};
        // "//a" would come back as "/a".
        if (slash == std::string_view::npos || path.substr(0, slash) == "/")
            return {.dir = {}, .name = path, .nameIsPath = true};
        return {.dir = slash == 0 ? std::string_view{"/"} : path.substr(0, slash), .name = path.substr(slash + 1)};
    }
};

/// How many names lead to a file.
class LinkCounts {
public:
    explicit LinkCounts(const RecordStorage& storage) {
        for (std::size_t i = 0; i < storage.size(); ++i) {
            const RecordStorage::Row& row = storage.row(i);
            if (row.isHardLinkDuplicate == 0) continue;
            if (const auto identity = storage.identityOf(row)) counts_.try_emplace(*identity, 0);
        }
        if (counts_.empty()) return;
        for (std::size_t i = 0; i < storage.size(); ++i) {
            const auto identity = storage.identityOf(storage.row(i));
            if (!identity) continue;
            if (const auto found = counts_.find(*identity); found != counts_.end()) ++found->second;
        }
    }

    [[nodiscard]] std::uint32_t of(const std::optional<FileIdentity>& identity) const {
        if (counts_.empty() || !identity) return 1;
        const auto found = counts_.find(*identity);
        return found == counts_.end() ? 1 : found->second;
    }

private:
    struct Hash {
        std::size_t operator()(const FileIdentity& identity) const {
            return static_cast<std::size_t>((identity.inode ^ identity.device << 32U) * 0x9E3779B97F4A7C15U);
        }
    };
    boost::unordered_flat_map<FileIdentity, std::uint32_t, Hash> counts_;
};

class FileRows {
public:
    FileRows(const RecordStorage& storage, const PublicationKey& key, Batches& batches)
        : storage_{storage}, batches_{batches}, key_{spelled(key)}, links_{storage}, folders_{storage} {
        for (const Text& each : storage.extensions())
            extensions_.push_back({spelled(each.lowercased().normalized().view()), each.isASCII()});
    }

    void write(std::size_t index) {
        const RecordStorage::Row& row = storage_.row(index);
        if (row.isIrregular == 0 && moveTo(row.folder)) {
            writeRegular(row);
        } else {
            writeOdd(row);
        }
        batches_.endRow();
    }

private:
    struct Extension {
        std::string bytes;
        bool isASCII;
    };

    /// False for a folder whose path would come back as another.
    bool moveTo(RecordStorage::FolderIndex folder) {
        if (folder == folder_) return !dir_.empty();
        folder_ = folder;
        const std::string_view prefix = folders_.prefix(folder);
        dir_ = prefix == "/" ? std::string{} : spelled(prefix.empty() ? "/" : prefix);
        dirKey_ = spelled(SearchKeys::column(prefix.empty() ? "/" : prefix));
        return !dir_.empty();
    }

    void writeRegular(const RecordStorage::Row& row) {
        const std::string_view name = storage_.nameOf(row);
        const Extension& extension = extensions_[row.extension];
        auto textClass = SearchKeys::TextClass::ascii;
        if (row.isASCII == 0 || !extension.isASCII) {
            textClass = SearchKeys::classOf(name, storage_.extensions()[row.extension].view());
            if (textClass == SearchKeys::TextClass::odd) return writeOdd(row);
        }
        std::string& out = batches_.text();
        (out += key_) += dir_;
        RowBinary bytes{out};
        bytes.text(name);
        (out.append(2, '\0')) += extension.bytes;  // neither label nor parent
        writeValues(row, hasParent);
        bytes.number(static_cast<std::uint8_t>(textClass));
        bytes.text(textClass == SearchKeys::TextClass::ascii ? std::string{} : SearchKeys::column(name));
        out += dirKey_;
    }

    /// One whose texts don't follow from each other, or whose name joins the "/" before it.
    void writeOdd(const RecordStorage::Row& row) {
        storage_.assignPath(row, path_);
        const std::string_view label = storage_.nameOf(row);
        const std::optional<Text> parent = storage_.parentPath(row);
        const SplitPath path = SplitPath::of(path_);
        const std::string_view extension = storage_.extensions()[row.extension].view();
        std::uint16_t flags = 0;
        if (parent) flags |= hasParent;
        if (parent && (path.nameIsPath || parent->view() != path.dir)) flags |= parentIsElsewhere;
        if (label != path.name) flags |= hasLabel;
        if (path.nameIsPath) flags |= nameIsPath;

        std::string& out = batches_.text();
        out += key_;
        RowBinary bytes{out};
        bytes.text(path.dir);
        bytes.text(path.name);
        bytes.text((flags & hasLabel) != 0 ? label : std::string_view{});
        bytes.text((flags & parentIsElsewhere) != 0 ? parent->view() : std::string_view{});
        out += extensions_[row.extension].bytes;
        writeValues(row, flags);
        const auto textClass = (flags & (hasLabel | nameIsPath)) != 0 || path_ == "/"
                                   ? SearchKeys::TextClass::odd
                                   : SearchKeys::classOf(path.name, extension);
        bytes.number(static_cast<std::uint8_t>(textClass));
        if (textClass == SearchKeys::TextClass::odd) {
            const SearchKeys keys = SearchKeys::ofOdd(label, path_);
            bytes.text(keys.name);
            bytes.text(keys.path);
        } else {
            bytes.text(SearchKeys::column(path.name));
            bytes.text(SearchKeys::column(path.dir));
        }
    }

    void writeValues(const RecordStorage::Row& row, std::uint16_t flags) {
        const std::optional<FileIdentity> identity = storage_.identityOf(row);
        if (row.isHidden != 0) flags |= isHidden;
        if (row.isCloudPlaceholder != 0) flags |= isCloudPlaceholder;
        if (row.isHardLinkDuplicate != 0) flags |= isFurtherLink;
        if (identity) flags |= hasIdentity;
        if (row.hasModified != 0) flags |= hasModified;
        RowBinary bytes{batches_.text()};
        bytes.number(static_cast<std::int8_t>(row.kind()));
        bytes.number(row.logicalBytes);
        bytes.number(row.allocatedBytes);
        bytes.number(row.displayBytes());
        bytes.number(row.hasModified != 0 ? row.modifiedAt : 0.0);
        bytes.number(identity ? identity->device : 0);
        bytes.number(identity ? identity->inode : 0);
        bytes.number(links_.of(identity));
        bytes.number(flags);
        bytes.number(static_cast<std::int8_t>(row.risk()));
    }

    const RecordStorage& storage_;
    Batches& batches_;
    std::string key_;
    std::vector<Extension> extensions_;
    LinkCounts links_;
    FolderPathReader folders_;
    RecordStorage::FolderIndex folder_ = std::numeric_limits<RecordStorage::FolderIndex>::max();
    std::string dir_;     ///< of `folder_`, spelled; empty where the path is odd
    std::string dirKey_;  ///< likewise
    std::string path_;
};

/// Adds up what lies in the folders that a walk is in.
class FolderRows final : public TreeVisitor {
public:
    FolderRows(const Text& root, const PublicationKey& key, Date countedFrom, Batches& batches)
        : batches_{batches}, key_{spelled(key)},
          countedFrom_{wholeSeconds(countedFrom.secondsSinceReferenceDate).value_or(0)}, trail_{root} {}

    void beginFolder(const WalkedItem& folder) override {
        trail_.enter(folder.name);
        open_.push_back(
            {.kind = folder.row.kind(), .shown = folder.row.displayBytes(), .own = folder.row.allocatedBytes});
    }

    void endFolder() override {
        Sums sums = open_.back();
        write(sums);
        open_.pop_back();
        trail_.leave();
        if (open_.empty()) return;
        Sums& above = open_.back();
        above.items += sums.items + 1;
        above.files += sums.files;
        above.content += sums.content + static_cast<std::uint64_t>(sums.own);
        above.oldest = std::min(above.oldest, sums.oldest);
        above.newest = std::max(above.newest, sums.newest);
        for (std::size_t i = 0; i < sums.byAge.size(); ++i) above.byAge[i] += sums.byAge[i];
        // Seen from above a package is an application with all that is in it.
        constexpr auto applications = static_cast<std::size_t>(ItemCategory::applications);
        for (std::size_t i = 0; i < sums.byCategory.size(); ++i)
            above.byCategory[sums.kind == FileKind::package ? applications : i] += sums.byCategory[i];
    }

    void item(const WalkedItem& item) override {
        Sums& sums = open_.back();
        ++sums.items;
        // Modulo 2^64: the sizes of a scan from elsewhere may be anything.
        const std::uint64_t bytes =
            item.row.isHardLinkDuplicate != 0 ? 0 : static_cast<std::uint64_t>(item.row.allocatedBytes);
        sums.content += bytes;
        if (item.row.kind() != FileKind::file) return;
        ++sums.files;
        std::optional<std::int64_t> changed;
        if (item.row.hasModified != 0) changed = wholeSeconds(item.row.modifiedAt);
        if (changed) {
            sums.oldest = std::min(sums.oldest, *changed);
            sums.newest = std::max(sums.newest, *changed);
        }
        sums.byAge[std::min(ageClassOf(changed, countedFrom_), sums.byAge.size() - 1)] += bytes;
        sums.byCategory[categoryOf(item.extension)] += bytes;
    }

private:
    static constexpr std::int64_t never = std::numeric_limits<std::int64_t>::max();

    struct Sums {
        FileKind kind = FileKind::directory;
        std::int64_t shown = 0;
        std::int64_t own = 0;
        std::uint64_t items = 0;
        std::uint64_t files = 0;
        std::uint64_t content = 0;  ///< bytes of all that lies below
        std::int64_t oldest = never;
        std::int64_t newest = -never;
        std::array<std::uint64_t, ageClasses.size()> byAge{};  ///< the last with what has no date
        std::array<std::uint64_t, allItemCategories.size()> byCategory{};
    };

    std::size_t categoryOf(std::string_view extension) {
        const auto found = categories_.find(extension);
        if (found != categories_.end()) return found->second;
        const auto category = static_cast<std::size_t>(ItemCategories::of(Text{extension}));
        categories_.emplace(extension, category);
        return category;
    }

    void write(const Sums& sums) {
        std::string& out = batches_.text();
        out += key_;
        RowBinary row{out};
        const std::string_view path = trail_.path();
        row.text(path);
        const bool isTop = open_.size() == 1;
        const std::size_t slash = path.rfind('/');
        row.text(isTop || slash == std::string_view::npos ? std::string_view{}
                 : slash == 0                             ? std::string_view{"/"}
                                                          : path.substr(0, slash));
        constexpr std::size_t deepest = std::numeric_limits<std::uint16_t>::max();
        row.number(static_cast<std::uint16_t>(std::min(open_.size() - 1, deepest)));
        row.number(sums.items);
        row.number(sums.files);
        // A folder that no record stands for shows nothing of its own.
        row.number(sums.shown != 0 ? sums.shown : static_cast<std::int64_t>(sums.content));
        row.number(sums.oldest == never ? 0U : storedDate(static_cast<double>(sums.oldest)));
        row.number(sums.newest == -never ? 0U : storedDate(static_cast<double>(sums.newest)));
        for (const std::uint64_t bytes : sums.byAge) row.number(bytes);
        for (const std::uint64_t bytes : sums.byCategory) row.number(bytes);
        batches_.endRow();
    }

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };

    Batches& batches_;
    std::string key_;
    std::int64_t countedFrom_;
    PathTrail trail_;
    std::vector<Sums> open_;
    boost::unordered_flat_map<std::string, std::size_t, TextHash, std::equal_to<>> categories_;
};

std::string_view nameOf(GenerationOrigin origin) {
    switch (origin) {
    case GenerationOrigin::scan: return "scan";
    case GenerationOrigin::import: return "import";
    case GenerationOrigin::removal: break;
    }
    return "removal";
}

}  // namespace

std::string_view PublicationRows::fileColumns() {
    return "host, volume, publication, dir, name, label, parent, extension, kind, size, allocated, display, modified, "
           "device, inode, links, flags, risk, text_class, name_key, path_key";
}

std::string_view PublicationRows::folderColumns() {
    return "host, volume, publication, path, parent, depth, items, files, bytes, oldest, newest, changed_30_days, "
           "changed_90_days, changed_year, changed_3_years, changed_earlier, photos, videos, music, documents, "
           "archives, code, applications, disk_images, databases, others";
}

std::string_view PublicationRows::suggestionColumns() {
    return "host, volume, publication, rule, title, certainty, items, bytes";
}

std::string_view PublicationRows::lineColumns() {
    return "host, volume, root, publication, snapshot, generation, origin, started, completed, published, complete, "
           "has_files, items, folders, bytes, issues, kestrel, keep";
}

std::optional<std::int64_t> PublicationRows::files(const Sink& sink, const CancellationToken& cancellation) const {
    const RecordStorage& storage = SnapshotAccess::storage(snapshot_);
    Batches batches{sink, cancellation};
    FileRows rows{storage, key_, batches};
    try {
        for (std::size_t i = 0; i < storage.size(); ++i) rows.write(i);
    } catch (const Cancelled&) {
        return std::nullopt;
    }
    return batches.finish();
}

std::optional<std::int64_t> PublicationRows::folders(const Sink& sink, const CancellationToken& cancellation) const {
    const Text root = snapshot_.scope().root.path();
    Batches batches{sink, cancellation};
    FolderRows rows{root, key_, snapshot_.completedAt(), batches};
    try {
        (void)walkTree(*walkedTree(SnapshotAccess::storage(snapshot_)), root, rows);
    } catch (const Cancelled&) {
        return std::nullopt;
    }
    return batches.finish();
}

std::string PublicationRows::suggestions(std::span<const PublishedSuggestion> suggestions) const {
    const std::string key = spelled(key_);
    std::string out;
    for (const PublishedSuggestion& each : suggestions) {
        out += key;
        RowBinary row{out};
        row.text(each.rule);
        row.text(each.title);
        row.text(each.certainty);
        row.number(static_cast<std::uint64_t>(each.items));
        row.number(each.bytes);
    }
    return out;
}

std::string PublicationRows::line(const Generation& generation, const PublicationLine& line) const {
    std::string out;
    RowBinary row{out};
    const auto date = [&](Date date) { row.number(storedDate(date.secondsSinceReferenceDate)); };
    row.text(key_.host);
    row.text(key_.volume);
    row.text(generation.scope.root.path().view());
    row.number(key_.publication);
    row.text(generation.snapshot.uuidString());
    row.number(generation.number);
    row.text(nameOf(generation.origin));
    date(generation.startedAt);
    date(generation.completedAt);
    date(line.published);
    row.number(static_cast<std::uint8_t>(generation.isComplete));
    row.number(static_cast<std::uint8_t>(line.hasFiles));
    row.number(static_cast<std::uint64_t>(generation.records));
    row.number(static_cast<std::uint64_t>(line.folders));
    row.number(generation.totalAllocatedBytes);
    row.number(static_cast<std::uint64_t>(generation.issues));
    row.text(line.program);
    row.number(line.keep);
    return out;
}

}  // namespace KestrelCore
