#include "Storage/History/GenerationGrowth.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/ChunkColumns.hpp"
#include "Storage/History/FolderTable.hpp"
#include "Storage/History/GrowthSelection.hpp"
#include "Storage/History/RowValues.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Both trees are walked at once, folder by folder. What a folder's aggregate has beside its folders and files is its
// own; so the aggregates' difference is the sum of what is found: own sizes, files, and whole folders that are new or
// gone, which are never looked into.
//
// Of two generations that have a full one in common most rows are the very same ones, which shows from where they
// stand, not from what is in them. Only the others are read, and of rows that stayed those that a difference between
// the two has changed. Else all names and sizes of files are.
//
// A folder that is gone here and new there with one identity has moved. File systems use numbers again, so that alone
// is not believed: it has its name still, or something in it has.

namespace KestrelCore {

namespace {

using Range = std::pair<std::uint32_t, std::uint32_t>;  // first, and one behind the last

constexpr std::uint32_t none = FolderTable::none;
constexpr HistoryFields sizeFields =
    bit(HistoryField::kind) | bit(HistoryField::shape) | bit(HistoryField::logical) | bit(HistoryField::allocated);

FileKind kindOf(std::uint64_t kind) { return static_cast<FileKind>(kind & 7); }

bool isContainer(std::uint64_t kind) {
    return kindOf(kind) == FileKind::directory || kindOf(kind) == FileKind::package;
}

/// A record that the tree has no row for.
struct IrregularItem {
    Text path;
    std::uint64_t kind = 0;
    std::uint64_t bytes = 0;
    std::uint32_t parent = none;
};

/// Names of files, of each generation those of the chunk that was read last. What two generations share is read once.
class FileNames {
public:
    struct Chunk {
        std::uint32_t number;
        NameBytes names;
        std::vector<std::uint32_t> ends;

        [[nodiscard]] std::string_view name(std::uint32_t row) const {
            const std::size_t begin = row == 0 ? 0 : ends[row - 1] + std::size_t{1};
            return names.view().substr(begin, ends[row] - begin);
        }
    };

    /// Stays as long as somebody holds it.
    [[nodiscard]] const std::shared_ptr<const Chunk>& chunk(const StreamView& files, std::uint32_t layer,
                                                            std::uint32_t number) {
        std::shared_ptr<const Chunk>& last = last_[files.generationOf(layer)];
        if (last != nullptr && last->number == number) return last;
        Chunk next{.number = number, .names = files.names(layer, number), .ends = {}};
        if (!findNameEnds(next.names.view(), files.rowsIn(layer, number), next.ends)) {
            throwDamaged(files.generationOf(layer));
        }
        last = std::make_shared<const Chunk>(std::move(next));
        return last;
    }

private:
    boost::unordered_flat_map<std::int64_t, std::shared_ptr<const Chunk>> last_;
};

/// One of the two generations.
class Side {
public:
    struct File {
        FileKind kind;
        std::uint64_t bytes;
    };

    Side(const OpenGeneration& generation, FileNames& names)
        : generation_{generation}, rows_{generation.rows()}, table_{rows_, bit(HistoryField::kind)},
          sizes_{rows_.files(), sizeFields, false}, names_{names} {
        sumUp();
    }

    /// Rows of the first `layers` layers are the other side's too. Sizes are read there where the other has no layers
    /// beside these: then they are what they were, or a later layer of this side says what they are.
    void readSizesFrom(Side& other, std::uint32_t layers) {
        if (layers != other.rows_.files().layerCount()) return;
        other_ = &other;
        sharedLayers_ = layers;
    }

    [[nodiscard]] const FolderTable& table() const { return table_; }
    [[nodiscard]] const GenerationRows& rows() const { return rows_; }
    [[nodiscard]] const OpenGeneration& generation() const { return generation_; }
    [[nodiscard]] std::uint64_t bytes(std::uint32_t folder) const { return bytes_[folder]; }
    /// What the folder has beside its folders, its files and the irregular items in it.
    [[nodiscard]] std::uint64_t ownBytes(std::uint32_t folder) const { return own_[folder]; }
    [[nodiscard]] const std::vector<IrregularItem>& irregular() const { return irregular_; }
    [[nodiscard]] FileKind kind(std::uint32_t folder) const {
        if (table_.hasRecord(folder)) return kindOf(table_.value(HistoryField::kind, folder));
        const auto known = irregularFolders_.find(folder);
        return known == irregularFolders_.end() ? FileKind::directory : known->second.kind;
    }
    /// Records below the folder.
    [[nodiscard]] std::int64_t itemsBelow(std::uint32_t folder) const {
        std::int64_t items = table_.endOfFilesBelow(folder) - table_.firstFile(folder);
        for (std::uint32_t i = folder + 1; i < table_.end(folder); ++i) items += table_.hasRecord(i) ? 1 : 0;
        return items;
    }
    [[nodiscard]] Range filesOf(std::uint32_t folder) const {
        return {table_.firstFile(folder), table_.firstFile(folder) + table_.fileCount(folder)};
    }

    [[nodiscard]] File file(std::uint32_t position) {
        const auto [layer, index] = rows_.files().rowAt(position);
        const bool isShared = layer < sharedLayers_;
        const RowReader::Rows row = (isShared ? other_->sizes_ : sizes_).inLayer(layer, index);
        const auto value = [&](HistoryField field) {
            const auto later =
                isShared ? rows_.files().changes(layer, field, index, 1) : std::span<const StreamView::NewValue>{};
            return later.empty() ? row.value(field, 0) : later.front().second;
        };
        const std::uint64_t kind = value(HistoryField::kind);
        const std::int64_t allocated =
            allocationOf({.allocated = value(HistoryField::allocated), .shape = value(HistoryField::shape)},
                         static_cast<std::int64_t>(value(HistoryField::logical)));
        return {kindOf(kind), bytesCounted(kind, static_cast<std::uint64_t>(allocated))};
    }
    /// Valid until the next call.
    [[nodiscard]] std::string_view fileName(std::uint32_t position) {
        const auto [layer, index] = rows_.files().rowAt(position);
        const auto perChunk = static_cast<std::uint32_t>(rowsInChunk(HistoryStream::files));
        name_ = names_.chunk(rows_.files(), layer, index / perChunk);
        return name_->name(index % perChunk);
    }

    /// The device and the number of each folder; read when first asked for.
    [[nodiscard]] std::optional<FileIdentity> identity(std::uint32_t folder) {
        if (identities_.empty()) readIdentities();
        return identities_[folder];
    }

private:
    static std::uint64_t allocatedBytes(const RowReader::Rows& rows, std::size_t i) {
        return static_cast<std::uint64_t>(allocationOf(
            {.allocated = rows.value(HistoryField::allocated, i), .shape = rows.value(HistoryField::shape, i)},
            static_cast<std::int64_t>(rows.value(HistoryField::logical, i))));
    }

    void sumUp() {
        const FolderContents contents{table_, rows_.folders(), 0};
        std::vector<std::uint64_t> inside(table_.size(), 0);
        readIrregular(contents);
        for (const IrregularItem& item : irregular_) {
            if (item.parent != none) inside[item.parent] += item.bytes;
        }
        bytes_.resize(table_.size());
        own_.resize(table_.size());
        for (std::uint32_t i = table_.size(); i-- > 0;) {
            inside[i] += contents.inFiles(i);
            if (table_.hasRecord(i)) {
                bytes_[i] = contents.aggregate(i);
            } else {
                const auto known = irregularFolders_.find(i);
                bytes_[i] = known == irregularFolders_.end() ? inside[i] : known->second.bytes;
            }
            own_[i] = bytes_[i] - inside[i];
            if (i > 0) inside[table_.parent(i)] += bytes_[i];
        }
    }

    void readIrregular(const FolderContents& contents) {
        RowReader reader{rows_.irregular(), sizeFields | bit(HistoryField::aggregate), true};
        for (std::uint32_t position = 0; position < rows_.irregular().size(); ++position) {
            const RowReader::Rows piece = reader.at(position);
            const auto bytes = withSlashes(piece.name(0));
            const auto texts = bytes ? separatedTexts(*bytes) : std::nullopt;
            if (!texts || texts->size() < 2) throwDamaged(rows_.generation());
            const std::uint64_t kind = piece.value(HistoryField::kind, 0);
            const std::uint64_t allocated = allocatedBytes(piece, 0);
            IrregularItem item{.path = Text{texts->front()}, .kind = kind, .bytes = bytesCounted(kind, allocated)};
            if (isContainer(kind)) {
                const std::uint32_t folder = table_.at(texts->front());
                item.bytes = allocated + (folder == none ? 0 : contents.of(folder)) +
                             unzigzag(piece.value(HistoryField::aggregate, 0));
                if (folder != none && !table_.hasRecord(folder)) {
                    irregularFolders_[folder] = {kindOf(kind), item.bytes};
                    continue;
                }
            }
            if (texts->size() > 2) item.parent = table_.find((*texts)[2]);
            irregular_.push_back(std::move(item));
        }
    }

    void readIdentities() {
        identities_.reserve(table_.size());
        RowReader reader{rows_.folders(),
                         bit(HistoryField::shape) | bit(HistoryField::device) | bit(HistoryField::inode), false};
        const std::vector<std::uint64_t>& devices = generation_.context().dictionary.devices;
        while (identities_.size() < table_.size()) {
            const RowReader::Rows piece = reader.at(static_cast<std::uint32_t>(identities_.size()));
            for (std::uint32_t i = 0; i < piece.count; ++i) {
                const std::uint64_t shape = piece.value(HistoryField::shape, i);
                const std::uint64_t device = piece.value(HistoryField::device, i);
                if ((shape & (RowShape::noIdentity | RowShape::noRecord)) != 0) {
                    identities_.emplace_back();
                    continue;
                }
                if (device >= devices.size()) throwDamaged(rows_.generation());
                identities_.emplace_back(FileIdentity{devices[device], piece.value(HistoryField::inode, i)});
            }
        }
    }

    const OpenGeneration& generation_;
    const GenerationRows& rows_;
    FolderTable table_;
    RowReader sizes_;
    FileNames& names_;
    std::shared_ptr<const FileNames::Chunk> name_;  ///< what was asked for last
    Side* other_ = nullptr;                         ///< whose sizes are read of the first `sharedLayers_` layers
    std::uint32_t sharedLayers_ = 0;
    std::vector<std::uint64_t> bytes_;
    std::vector<std::uint64_t> own_;
    std::vector<IrregularItem> irregular_;
    boost::unordered_flat_map<std::uint32_t, File>
        irregularFolders_;  ///< with a record that is no row of the tree: a scan's root
    std::vector<std::optional<FileIdentity>> identities_;
};

/// Which files two generations share: rows of the generations that both rest on.
class SharedFiles {
public:
    SharedFiles(const StreamView& before, const StreamView& after) : before_{before}, after_{after} {
        const std::uint32_t most = std::min(before.layerCount(), after.layerCount());
        while (common_ < most && before.generationOf(common_) == after.generationOf(common_)) ++common_;
        for (const StreamView* view : {&before, &after}) {
            auto rows = view->changedRows(common_, sizeFields);
            rows.resize(common_);
            changed_.resize(common_);
            for (std::uint32_t layer = 0; layer < common_; ++layer) {
                std::vector<std::uint32_t> both;
                std::ranges::set_union(changed_[layer], rows[layer], std::back_inserter(both));
                changed_[layer] = std::move(both);
            }
        }
    }

    /// How many layers both rest on.
    [[nodiscard]] std::uint32_t layers() const { return common_; }

    /// Files of one folder on both sides, taken apart. All as positions.
    struct Parts {
        std::vector<Range> before;   ///< that the later one does not share
        std::vector<Range> after;    ///< that the earlier one does not share
        std::vector<Range> changed;  ///< shared rows with another size now: position before, and after
    };
    void takeApart(const Range& before, const Range& after, Parts& parts) {
        parts.before.clear();
        parts.after.clear();
        parts.changed.clear();
        collect(before_, before, beforePieces_, parts.before);
        collect(after_, after, afterPieces_, parts.after);
        auto old = beforePieces_.begin();
        auto now = afterPieces_.begin();
        while (old != beforePieces_.end() || now != afterPieces_.end()) {
            const bool isOldFirst = now == afterPieces_.end() || (old != beforePieces_.end() && old->comesBefore(*now));
            const bool isNowFirst = old == beforePieces_.end() || (now != afterPieces_.end() && now->comesBefore(*old));
            if (isOldFirst) {
                const std::uint32_t count = now != afterPieces_.end() && now->layer == old->layer
                                                ? std::min(old->count, now->index - old->index)
                                                : old->count;
                parts.before.emplace_back(old->position, old->position + count);
                old += drop(*old, count);
            } else if (isNowFirst) {
                const std::uint32_t count = old != beforePieces_.end() && now->layer == old->layer
                                                ? std::min(now->count, old->index - now->index)
                                                : now->count;
                parts.after.emplace_back(now->position, now->position + count);
                now += drop(*now, count);
            } else {
                const std::uint32_t count = std::min(old->count, now->count);
                const std::vector<std::uint32_t>& changed = changed_[old->layer];
                for (auto row = std::ranges::lower_bound(changed, old->index);
                     row != changed.end() && *row < old->index + count; ++row) {
                    parts.changed.emplace_back(old->position + (*row - old->index),
                                               now->position + (*row - now->index));
                }
                old += drop(*old, count);
                now += drop(*now, count);
            }
        }
        std::ranges::sort(parts.before);
        std::ranges::sort(parts.after);
        std::ranges::sort(parts.changed);
    }

private:
    struct Piece {
        std::uint32_t layer;
        std::uint32_t index;
        std::uint32_t count;
        std::uint32_t position;

        [[nodiscard]] bool comesBefore(const Piece& other) const {
            return layer != other.layer ? layer < other.layer : index < other.index;
        }
    };

    /// Leaves out the first rows of a piece; 1 when none are left.
    static std::ptrdiff_t drop(Piece& piece, std::uint32_t count) {
        piece.index += count;
        piece.position += count;
        piece.count -= count;
        return piece.count == 0 ? 1 : 0;
    }

    void collect(const StreamView& view, const Range& files, std::vector<Piece>& shared,
                 std::vector<Range>& others) const {
        shared.clear();
        if (files.first == files.second) return;
        const auto& segments = view.segments();
        for (std::size_t i = view.segmentAt(files.first); i < segments.size() && segments[i].start < files.second;
             ++i) {
            const std::uint32_t first = std::max(files.first, segments[i].start);
            const std::uint32_t count = std::min(files.second, segments[i].start + segments[i].count) - first;
            if (segments[i].layer < common_) {
                shared.push_back({segments[i].layer, segments[i].first + (first - segments[i].start), count, first});
            } else {
                others.emplace_back(first, first + count);
            }
        }
        std::ranges::sort(shared, [](const Piece& a, const Piece& b) { return a.comesBefore(b); });
    }

    const StreamView& before_;
    const StreamView& after_;
    std::uint32_t common_ = 0;                         ///< layers
    std::vector<std::vector<std::uint32_t>> changed_;  ///< of each of these, rows
    std::vector<Piece> beforePieces_;
    std::vector<Piece> afterPieces_;
};

/// Both, read on two threads.
struct Sides {
    Sides(const OpenGeneration& since, const OpenGeneration& until) {
        inParallel([&] { before.emplace(since, names); }, [&] { after.emplace(until, names); });
    }
    FileNames names;
    std::optional<Side> before;
    std::optional<Side> after;
};

class Comparison {
public:
    Comparison(const OpenGeneration& since, const OpenGeneration& until)
        : sides_{since, until}, shared_{since.rows().files(), until.rows().files()} {
        after_.readSizesFrom(before_, shared_.layers());
    }

    /// Fills in what there is to say; false where neither has an item at the path.
    bool run(Growth& growth, const GrowthOptions& options) {
        const std::uint32_t before = before_.table().find(growth.path.view());
        const std::uint32_t after = after_.table().find(growth.path.view());
        if (before == none || after == none) return compareItem(growth, before, after, options);
        walk(before, after);
        compareIrregular();
        findMoved();
        for (const auto& [folder, pair] : gone_) addGone(folder, pair);
        for (const auto& [folder, pair] : fresh_) addFresh(folder, pair);
        growth.path = Text{after_.table().path(after)};
        growth.before = static_cast<std::int64_t>(before_.bytes(before));
        growth.after = static_cast<std::int64_t>(after_.bytes(after));
        tell(options, growth);
        return true;
    }

private:
    /// A folder that both have.
    struct Pair {
        std::uint32_t before;
        std::uint32_t after;
        std::uint32_t parent;           ///< a pair; the first one's own is itself
        std::uint32_t level;            ///< below the first
        std::size_t folder = noFolder;  ///< its position in `folders_`, where it has one
    };
    static constexpr std::size_t noFolder = static_cast<std::size_t>(-1);

    /// What a leaf tells of, to be named when it is told.
    struct Source {
        enum class Form : std::uint8_t { fileBefore, fileAfter, folderBefore, folderAfter, irregular } form;
        std::uint32_t position;  ///< of the file, the folder or the irregular item
        std::uint32_t parent;    ///< of a file, the folder on its side
        FileKind kind;
        GrowthChangeKind what;
        std::uint32_t movedFrom = none;  ///< a folder before
    };

    bool compareItem(Growth& growth, std::uint32_t before, std::uint32_t after, const GrowthOptions& options) {
        struct Item {
            std::uint64_t bytes = 0;
            std::int64_t items = 1;
            FileKind kind = FileKind::directory;
        };
        const auto itemOf = [&](const Side& side, std::uint32_t folder) -> std::optional<Item> {
            if (folder != none) return Item{side.bytes(folder), side.itemsBelow(folder), side.kind(folder)};
            const auto record = side.generation().record(growth.path);
            if (!record) return std::nullopt;
            const std::int64_t bytes = record->isHardLinkDuplicate() ? 0 : record->displayBytes();
            return Item{static_cast<std::uint64_t>(bytes), record->isContainer() ? 0 : 1, record->kind()};
        };
        const std::optional<Item> old = itemOf(before_, before);
        const std::optional<Item> now = itemOf(after_, after);
        if (!old && !now) return false;
        growth.before = old ? static_cast<std::int64_t>(old->bytes) : 0;
        growth.after = now ? static_cast<std::int64_t>(now->bytes) : 0;
        const auto isFolder = [](const Item& item) {
            return item.kind == FileKind::directory || item.kind == FileKind::package;
        };
        if (options.most == 0) return true;
        if (old && now && isFolder(*old) == isFolder(*now)) {
            if (growth.before == growth.after) return true;
            growth.changes.push_back(
                {.path = growth.path,
                 .kind = now->kind,
                 .what = growth.after < growth.before ? GrowthChangeKind::shrank : GrowthChangeKind::grew,
                 .before = growth.before,
                 .after = growth.after,
                 .items = std::max(old->items, now->items),
                 .movedFrom = std::nullopt});
            return true;
        }
        if (old) {
            growth.changes.push_back({.path = growth.path,
                                      .kind = old->kind,
                                      .what = GrowthChangeKind::gone,
                                      .before = growth.before,
                                      .after = 0,
                                      .items = old->items,
                                      .movedFrom = std::nullopt});
        }
        if (now) {
            growth.changes.push_back({.path = growth.path,
                                      .kind = now->kind,
                                      .what = GrowthChangeKind::appeared,
                                      .before = 0,
                                      .after = growth.after,
                                      .items = now->items,
                                      .movedFrom = std::nullopt});
        }
        sort(growth);
        return true;
    }

    // The walk.

    void walk(std::uint32_t before, std::uint32_t after) {
        pairs_.push_back({.before = before, .after = after, .parent = 0, .level = 0});
        // Pairs that wait, the next one last; each stands in `pairs_` when it is reached.
        std::vector<Pair> waiting;
        std::vector<Pair> found;
        for (std::uint32_t pair = 0;; pair = static_cast<std::uint32_t>(pairs_.size()) - 1) {
            compareOwn(pair);
            compareFiles(pair);
            found.clear();
            compareSubfolders(pair, found);
            waiting.insert(waiting.end(), found.rbegin(), found.rend());
            if (waiting.empty()) return;
            pairs_.push_back(waiting.back());
            waiting.pop_back();
        }
    }

    /// The pair among the folders in which something has changed.
    std::size_t folderOf(std::uint32_t pair) {
        std::vector<std::uint32_t> missing;
        for (; pairs_[pair].folder == noFolder; pair = pairs_[pair].parent) {
            missing.push_back(pair);
            if (pair == 0) break;
        }
        std::size_t folder = pairs_[pair].folder;
        for (auto i = missing.size(); i-- > 0;) {
            Pair& each = pairs_[missing[i]];
            each.folder = folders_.size();
            folders_.push_back({.parent = folder == noFolder ? 0 : folder, .level = each.level, .own = {}});
            pairOfFolder_.push_back(missing[i]);
            folder = each.folder;
        }
        return folder;
    }

    void compareOwn(std::uint32_t pair) {
        const std::uint64_t before = before_.ownBytes(pairs_[pair].before);
        const std::uint64_t after = after_.ownBytes(pairs_[pair].after);
        if (before != after) folders_[folderOf(pair)].own = {.before = before, .after = after, .items = 1};
    }

    void compareFiles(std::uint32_t pair) {
        const Pair& folders = pairs_[pair];
        shared_.takeApart(before_.filesOf(folders.before), after_.filesOf(folders.after), parts_);
        for (const auto& [old, now] : parts_.changed) compareFile(pair, old, now);
        if (parts_.before.empty() || parts_.after.empty()) {
            for (const Range& range : parts_.before) {
                for (std::uint32_t file = range.first; file < range.second; ++file) addGoneFile(pair, file);
            }
            for (const Range& range : parts_.after) {
                for (std::uint32_t file = range.first; file < range.second; ++file) addFreshFile(pair, file);
            }
            return;
        }
        // Files of one name are one file, wherever its rows stand.
        Positions old{parts_.before};
        Positions now{parts_.after};
        while (old.isLeft() || now.isLeft()) {
            if (!old.isLeft()) {
                addFreshFile(pair, now.take());
            } else if (!now.isLeft()) {
                addGoneFile(pair, old.take());
            } else {
                const std::string_view oldName = before_.fileName(old.next());
                const std::string_view newName = after_.fileName(now.next());
                if (areEqualNames(oldName, newName)) {
                    compareFile(pair, old.take(), now.take());
                } else if (compareNames(oldName, newName) < 0) {
                    addGoneFile(pair, old.take());
                } else {
                    addFreshFile(pair, now.take());
                }
            }
        }
    }

    /// The positions in some ranges, one after the other.
    class Positions {
    public:
        explicit Positions(const std::vector<Range>& ranges) : range_{ranges.begin()}, end_{ranges.end()} {
            if (range_ != end_) next_ = range_->first;
        }
        [[nodiscard]] bool isLeft() const { return range_ != end_; }
        [[nodiscard]] std::uint32_t next() const { return next_; }
        std::uint32_t take() {
            const std::uint32_t taken = next_++;
            if (next_ == range_->second && ++range_ != end_) next_ = range_->first;
            return taken;
        }

    private:
        std::vector<Range>::const_iterator range_;
        std::vector<Range>::const_iterator end_;
        std::uint32_t next_ = 0;
    };

    void addLeaf(std::uint32_t pair, const GrowthSum& sum, const Source& source) {
        const std::uint64_t weight =
            source.what == GrowthChangeKind::moved ? std::max(sum.before, sum.after) : sum.size();
        leaves_.push_back(
            {.folder = folderOf(pair), .level = pairs_[pair].level + std::size_t{1}, .sum = sum, .weight = weight});
        sources_.push_back(source);
    }

    void compareFile(std::uint32_t pair, std::uint32_t old, std::uint32_t now) {
        const Side::File before = before_.file(old);
        const Side::File after = after_.file(now);
        if (before.bytes == after.bytes) return;
        const GrowthSum sum{.before = before.bytes, .after = after.bytes, .items = 1};
        addLeaf(pair, sum,
                {.form = Source::Form::fileAfter,
                 .position = now,
                 .parent = pairs_[pair].after,
                 .kind = after.kind,
                 .what = grownOrShrunk(sum)});
    }
    static GrowthChangeKind grownOrShrunk(const GrowthSum& sum) {
        return sum.change() < 0 ? GrowthChangeKind::shrank : GrowthChangeKind::grew;
    }

    void addGoneFile(std::uint32_t pair, std::uint32_t file) {
        const Side::File before = before_.file(file);
        addLeaf(pair, {.before = before.bytes, .after = 0, .items = 1},
                {.form = Source::Form::fileBefore,
                 .position = file,
                 .parent = pairs_[pair].before,
                 .kind = before.kind,
                 .what = GrowthChangeKind::gone});
    }
    void addFreshFile(std::uint32_t pair, std::uint32_t file) {
        const Side::File after = after_.file(file);
        addLeaf(pair, {.before = 0, .after = after.bytes, .items = 1},
                {.form = Source::Form::fileAfter,
                 .position = file,
                 .parent = pairs_[pair].after,
                 .kind = after.kind,
                 .what = GrowthChangeKind::appeared});
    }

    void compareSubfolders(std::uint32_t pair, std::vector<Pair>& found) {
        const FolderTable& old = before_.table();
        const FolderTable& now = after_.table();
        std::uint32_t before = pairs_[pair].before + 1;
        const std::uint32_t beforeEnd = old.end(pairs_[pair].before);
        std::uint32_t after = pairs_[pair].after + 1;
        const std::uint32_t afterEnd = now.end(pairs_[pair].after);
        while (before < beforeEnd || after < afterEnd) {
            const bool hasBoth = before < beforeEnd && after < afterEnd;
            if (hasBoth && areEqualNames(old.name(before), now.name(after))) {
                found.push_back({.before = before, .after = after, .parent = pair, .level = pairs_[pair].level + 1});
                before = old.end(before);
                after = now.end(after);
            } else if (after >= afterEnd || (hasBoth && compareNames(old.name(before), now.name(after)) < 0)) {
                gone_.emplace_back(before, pair);
                before = old.end(before);
            } else {
                fresh_.emplace_back(after, pair);
                after = now.end(after);
            }
        }
    }

    // Folders that are gone, new or elsewhere.

    void findMoved() {
        if (gone_.empty() || fresh_.empty()) return;
        struct Hash {
            std::size_t operator()(const FileIdentity& identity) const {
                return static_cast<std::size_t>(identity.inode * 0x9E3779B97F4A7C15U ^ identity.device);
            }
        };
        boost::unordered_flat_map<FileIdentity, std::uint32_t, Hash> goneByIdentity;
        for (const auto& [root, pair] : gone_) {
            for (std::uint32_t i = root; i < before_.table().end(root); ++i) {
                if (const auto identity = before_.identity(i)) goneByIdentity.emplace(*identity, i);
            }
        }
        for (const auto& [root, pair] : fresh_) {
            for (std::uint32_t i = root; i < after_.table().end(root);) {
                const auto identity = after_.identity(i);
                const auto known = identity ? goneByIdentity.find(*identity) : goneByIdentity.end();
                if (known == goneByIdentity.end() || !areAlike(known->second, i)) {
                    ++i;
                    continue;
                }
                moved_.push_back({.before = known->second, .after = i, .pair = pair});
                goneByIdentity.erase(known);
                i = after_.table().end(i);
            }
        }
        takeOutMoved();
    }

    bool areAlike(std::uint32_t old, std::uint32_t now) {
        const FolderTable& before = before_.table();
        const FolderTable& after = after_.table();
        if (before_.kind(old) != after_.kind(now)) return false;
        const bool wasEmpty = before.end(old) == old + 1 && before.fileCount(old) == 0;
        const bool isEmpty = after.end(now) == now + 1 && after.fileCount(now) == 0;
        if (areEqualNames(before.name(old), after.name(now)) || (wasEmpty && isEmpty)) return true;
        const auto haveCommon = [](std::uint32_t a, std::uint32_t aEnd, const auto& aName, const auto& aNext,
                                   std::uint32_t b, std::uint32_t bEnd, const auto& bName, const auto& bNext) {
            while (a < aEnd && b < bEnd) {
                const auto order = compareNames(aName(a), bName(b));
                if (order == 0) return true;
                if (order < 0) {
                    a = aNext(a);
                } else {
                    b = bNext(b);
                }
            }
            return false;
        };
        if (haveCommon(
                old + 1, before.end(old), [&](std::uint32_t i) { return before.name(i); },
                [&](std::uint32_t i) { return before.end(i); }, now + 1, after.end(now),
                [&](std::uint32_t i) { return after.name(i); }, [&](std::uint32_t i) { return after.end(i); })) {
            return true;
        }
        const auto [oldFile, oldEnd] = before_.filesOf(old);
        const auto [newFile, newEnd] = after_.filesOf(now);
        const auto next = [](std::uint32_t i) { return i + 1; };
        return haveCommon(
            oldFile, oldEnd, [&](std::uint32_t i) { return before_.fileName(i); }, next, newFile, newEnd,
            [&](std::uint32_t i) { return after_.fileName(i); }, next);
    }

    /// What moved is told where it is now, and nowhere else: neither with the folder that is gone or new around it, nor
    /// with another that moved.
    void takeOutMoved() {
        for (const Moved& each : moved_) {
            takenFromAfter_.emplace(each.after, Taken{after_.bytes(each.after), after_.itemsBelow(each.after) + 1});
        }
        std::vector<Moved> byPlace = moved_;
        std::ranges::sort(byPlace, {}, &Moved::before);
        for (const Moved& each : byPlace) {
            takenFromBefore_.emplace(each.before,
                                     Taken{before_.bytes(each.before), before_.itemsBelow(each.before) + 1});
        }
        for (const Moved& each : moved_) {
            const GrowthSum before = left(before_, each.before, takenFromBefore_);
            addLeaf(
                each.pair,
                {.before = before.before, .after = after_.bytes(each.after), .items = after_.itemsBelow(each.after)},
                {.form = Source::Form::folderAfter,
                 .position = each.after,
                 .parent = none,
                 .kind = after_.kind(each.after),
                 .what = GrowthChangeKind::moved,
                 .movedFrom = each.before});
        }
    }

    struct Taken {
        std::uint64_t bytes;
        std::int64_t items;
    };
    using TakenFolders = std::map<std::uint32_t, Taken>;

    /// The folder's bytes (as `before`) and items without the largest folders below it that are told elsewhere.
    static GrowthSum left(const Side& side, std::uint32_t folder, const TakenFolders& taken) {
        GrowthSum sum{.before = side.bytes(folder), .after = 0, .items = side.itemsBelow(folder)};
        const std::uint32_t end = side.table().end(folder);
        for (auto each = taken.upper_bound(folder); each != taken.end() && each->first < end;
             each = taken.lower_bound(side.table().end(each->first))) {
            sum.before -= each->second.bytes;
            sum.items -= each->second.items;
        }
        return sum;
    }

    void addGone(std::uint32_t folder, std::uint32_t pair) {
        if (takenFromBefore_.contains(folder)) return;
        const GrowthSum rest = left(before_, folder, takenFromBefore_);
        if (!before_.table().hasRecord(folder) && rest.items == 0) return;
        addLeaf(pair, {.before = rest.before, .after = 0, .items = rest.items},
                {.form = Source::Form::folderBefore,
                 .position = folder,
                 .parent = none,
                 .kind = before_.kind(folder),
                 .what = GrowthChangeKind::gone});
    }
    void addFresh(std::uint32_t folder, std::uint32_t pair) {
        if (takenFromAfter_.contains(folder)) return;
        const GrowthSum rest = left(after_, folder, takenFromAfter_);
        if (!after_.table().hasRecord(folder) && rest.items == 0) return;
        addLeaf(pair, {.before = 0, .after = rest.before, .items = rest.items},
                {.form = Source::Form::folderAfter,
                 .position = folder,
                 .parent = none,
                 .kind = after_.kind(folder),
                 .what = GrowthChangeKind::appeared});
    }

    /// Irregular items lie in the folders that they name; those of new and gone folders are told with these.
    void compareIrregular() {
        if (before_.irregular().empty() && after_.irregular().empty()) return;
        boost::unordered_flat_map<std::uint32_t, std::uint32_t> pairBefore;
        boost::unordered_flat_map<std::uint32_t, std::uint32_t> pairAfter;
        for (std::uint32_t i = 0; i < pairs_.size(); ++i) {
            pairBefore.emplace(pairs_[i].before, i);
            pairAfter.emplace(pairs_[i].after, i);
        }
        std::map<std::pair<std::uint32_t, Text>, GrowthSum> sums;
        std::map<std::pair<std::uint32_t, Text>, Source> sources;
        for (std::uint32_t i = 0; i < before_.irregular().size(); ++i) {
            const IrregularItem& item = before_.irregular()[i];
            const auto pair = pairBefore.find(item.parent);
            if (pair == pairBefore.end()) continue;
            sums[{pair->second, item.path}].before += item.bytes;
            sources.insert_or_assign({pair->second, item.path}, Source{.form = Source::Form::irregular,
                                                                       .position = i,
                                                                       .parent = 0,
                                                                       .kind = kindOf(item.kind),
                                                                       .what = GrowthChangeKind::gone});
        }
        for (std::uint32_t i = 0; i < after_.irregular().size(); ++i) {
            const IrregularItem& item = after_.irregular()[i];
            const auto pair = pairAfter.find(item.parent);
            if (pair == pairAfter.end()) continue;
            const std::pair key{pair->second, item.path};
            const auto known = sources.find(key);
            GrowthSum& sum = sums[key];
            sum.after += item.bytes;
            sources.insert_or_assign(
                key, Source{.form = Source::Form::irregular,
                            .position = i,
                            .parent = 1,
                            .kind = kindOf(item.kind),
                            .what = known == sources.end() || known->second.what == GrowthChangeKind::appeared
                                        ? GrowthChangeKind::appeared
                                        : grownOrShrunk(sum)});
        }
        for (auto& [key, sum] : sums) {
            const Source& source = sources.at(key);
            sum.items = 1;
            const bool isThereStill =
                source.what != GrowthChangeKind::appeared && source.what != GrowthChangeKind::gone;
            if (!isThereStill || sum.before != sum.after) addLeaf(key.first, sum, source);
        }
    }

    // Telling.

    void tell(const GrowthOptions& options, Growth& growth) {
        const GrowthSelection selection = selectGrowth(folders_, leaves_, options);
        for (const GrowthSelection::Rest& rest : selection.folders) {
            const Pair& pair = pairs_[pairOfFolder_[rest.folder]];
            growth.changes.push_back({.path = Text{after_.table().path(pair.after)},
                                      .kind = after_.kind(pair.after),
                                      .what = grownOrShrunk(rest.sum),
                                      .before = static_cast<std::int64_t>(rest.sum.before),
                                      .after = static_cast<std::int64_t>(rest.sum.after),
                                      .items = rest.sum.items,
                                      .movedFrom = std::nullopt});
        }
        for (const std::size_t leaf : selection.leaves) growth.changes.push_back(named(leaf));
        sort(growth);
    }

    static void sort(Growth& growth) {
        const auto size = [](const GrowthChange& change) {
            return GrowthSum{.before = static_cast<std::uint64_t>(change.before),
                             .after = static_cast<std::uint64_t>(change.after)}
                .size();
        };
        std::ranges::sort(growth.changes, [&](const GrowthChange& a, const GrowthChange& b) {
            if (size(a) != size(b)) return size(a) > size(b);
            if (a.path != b.path) return a.path < b.path;
            return a.what < b.what;
        });
    }

    GrowthChange named(std::size_t leaf) {
        const Source& source = sources_[leaf];
        const GrowthSum& sum = leaves_[leaf].sum;
        GrowthChange change{.path = {},
                            .kind = source.kind,
                            .what = source.what,
                            .before = static_cast<std::int64_t>(sum.before),
                            .after = static_cast<std::int64_t>(sum.after),
                            .items = sum.items,
                            .movedFrom = std::nullopt};
        const auto inFolder = [&](const Side& side, std::string_view name) {
            std::string path = source.parent == 0 ? std::string{} : side.table().path(source.parent);
            path += '/';
            path += name;
            return Text{path};
        };
        switch (source.form) {
        case Source::Form::fileBefore: change.path = inFolder(before_, before_.fileName(source.position)); break;
        case Source::Form::fileAfter: change.path = inFolder(after_, after_.fileName(source.position)); break;
        case Source::Form::folderBefore: change.path = Text{before_.table().path(source.position)}; break;
        case Source::Form::folderAfter: change.path = Text{after_.table().path(source.position)}; break;
        case Source::Form::irregular:
            change.path = (source.parent == 0 ? before_ : after_).irregular()[source.position].path;
            break;
        }
        if (source.movedFrom != none) change.movedFrom = Text{before_.table().path(source.movedFrom)};
        return change;
    }

    struct Moved {
        std::uint32_t before;
        std::uint32_t after;
        std::uint32_t pair;  ///< that the folder is new in, or a new folder around it
    };

    Sides sides_;
    Side& before_ = *sides_.before;
    Side& after_ = *sides_.after;
    SharedFiles shared_;
    SharedFiles::Parts parts_;
    std::vector<Pair> pairs_;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> gone_;   ///< folder before, and the pair it lay in
    std::vector<std::pair<std::uint32_t, std::uint32_t>> fresh_;  ///< folder now, and the pair it lies in
    std::vector<Moved> moved_;
    TakenFolders takenFromBefore_;
    TakenFolders takenFromAfter_;
    std::vector<GrowthFolder> folders_;
    std::vector<std::uint32_t> pairOfFolder_;
    std::vector<GrowthLeaf> leaves_;
    std::vector<Source> sources_;
};

}  // namespace

bool compareGenerations(const OpenGeneration& since, const OpenGeneration& until, const GrowthOptions& options,
                        Growth& growth) {
    return Comparison{since, until}.run(growth, options);
}

}  // namespace KestrelCore
