#include "Storage/History/GenerationGrowth.hpp"

#include "Base/Parallel.hpp"
#include "Storage/History/GrowthSelection.hpp"
#include "Storage/History/GrowthSide.hpp"
#include "Storage/History/SharedFiles.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
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

constexpr std::uint32_t none = FolderTable::none;

/// Both, read on two threads.
struct Sides {
    Sides(const OpenGeneration& since, const OpenGeneration& until) {
        inParallel([&] { before.emplace(since, names); }, [&] { after.emplace(until, names); });
    }
    FileNames names;
    std::optional<GrowthSide> before;
    std::optional<GrowthSide> after;
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
        const auto itemOf = [&](const GrowthSide& side, std::uint32_t folder) -> std::optional<Item> {
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
            for (const RowRange& range : parts_.before) {
                for (std::uint32_t file = range.first; file < range.second; ++file) addGoneFile(pair, file);
            }
            for (const RowRange& range : parts_.after) {
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
        explicit Positions(const std::vector<RowRange>& ranges) : range_{ranges.begin()}, end_{ranges.end()} {
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
        std::vector<RowRange>::const_iterator range_;
        std::vector<RowRange>::const_iterator end_;
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
        const GrowthSide::File before = before_.file(old);
        const GrowthSide::File after = after_.file(now);
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
        const GrowthSide::File before = before_.file(file);
        addLeaf(pair, {.before = before.bytes, .after = 0, .items = 1},
                {.form = Source::Form::fileBefore,
                 .position = file,
                 .parent = pairs_[pair].before,
                 .kind = before.kind,
                 .what = GrowthChangeKind::gone});
    }
    void addFreshFile(std::uint32_t pair, std::uint32_t file) {
        const GrowthSide::File after = after_.file(file);
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
    static GrowthSum left(const GrowthSide& side, std::uint32_t folder, const TakenFolders& taken) {
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
        const auto inFolder = [&](const GrowthSide& side, std::string_view name) {
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
    GrowthSide& before_ = *sides_.before;
    GrowthSide& after_ = *sides_.after;
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
