#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/URL.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"
#include "KestrelCore/Storage/Generation.hpp"
#include "KestrelCore/Storage/GenerationReader.hpp"
#include "KestrelCore/Storage/Growth.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace KestrelCore {

/// Keeps every scan on disk, in little room: generations of one root are mostly kept as the difference to the one
/// before. Which way one is kept makes no difference to who reads it.
///
/// Any thread may call, and any number of processes may use one file. One writes at a time: adding, removing and
/// thinning wait for each other (at most ten seconds, then `unavailable("database is locked")`). Readers wait for
/// nobody and see whole generations only. What was there before stays readable whatever happens to a change: it is
/// made as a whole or not at all.
///
/// The file is for this user only. One that is a link or another user's, or that lies in a folder that others can write
/// to, is refused, and so is one of a newer format. One of an older format is read as it is, and becomes one of the
/// present format with the first change.
///
/// Unless said otherwise the calls block on the disk and throw `KestrelError::unavailable` with a finished sentence, or
/// with the text that SQLite gives; a generation that is damaged is named, and others stay readable.
class KESTRELCORE_EXPORT SnapshotHistory {
public:
    /// The history at `url`, a file URL. Nothing is opened or made before it is used.
    explicit SnapshotHistory(const URL& url);
    ~SnapshotHistory();
    SnapshotHistory(const SnapshotHistory&) = delete;
    SnapshotHistory& operator=(const SnapshotHistory&) = delete;

    /// Adds a snapshot as the newest generation. Makes the file, and the folders above it, when missing.
    Generation add(const ScanSnapshot& snapshot, GenerationOrigin origin = GenerationOrigin::scan,
                   bool isComplete = true);
    /// The same, and keeps with it how it was made. One whose source has a name stands for no folder of this disk, even
    /// if its root has the path of one: `newest` and `generations(root)` do not give it, and nothing is ever taken out
    /// of it. It is one series with those before of the same name and root.
    Generation add(const ScanSnapshot& snapshot, const GenerationProvenance& provenance);

    /// Adds what is left of generation `number` without the records at `paths` and what lies beneath them: what
    /// `ScanSnapshot::removing` makes of it, but for paths that occur twice, whose records go together. Neither reads
    /// nor writes all of it, so it takes some hundredths of a second for a million records. Taking something out of
    /// what was made so replaces it, unless it is pinned: `number` is gone then.
    ///
    /// Empty, and nothing is changed, when none of `paths` is a record, or when `number` is not, or not any more, the
    /// newest generation of its root.
    std::optional<Generation> removing(std::int64_t number, const std::vector<Text>& paths);

    /// Takes back what `removing` did with `paths`, each as it was named there: adds generation `number` with these
    /// records again, and what lay beneath them, as the scan had them. It replaces `number` as `removing` does; where
    /// nothing is missing any more, what `number` was made from is the newest again, if it still is in the history.
    /// What was taken out from beneath a path before the path itself comes back with it.
    ///
    /// Empty, and nothing is changed, when none of `paths` was taken out, or when `number` is not what `removing` made,
    /// or is not, or not any more, the newest generation of its root.
    std::optional<Generation> restoring(std::int64_t number, const std::vector<Text>& paths);

    /// All generations, newest first; with `root` only those of scans of that very path. Empty where there is no file.
    [[nodiscard]] std::vector<Generation> generations(const std::optional<Text>& root = std::nullopt) const;
    /// The newest generation whose root is `path` or a folder above it.
    [[nodiscard]] std::optional<Generation> newest(const Text& path) const;
    /// The generation with this number; empty where there is none.
    [[nodiscard]] std::optional<Generation> generation(std::int64_t number) const;

    /// The generation with this number, to be asked. Throws where there is none.
    [[nodiscard]] GenerationReader open(std::int64_t number) const;
    // Single questions, each with a generation that is opened for it; see `GenerationReader`.
    [[nodiscard]] ScanSnapshot load(std::int64_t number) const;
    [[nodiscard]] std::vector<FileRecord> children(std::int64_t number, const Text& path) const;
    [[nodiscard]] std::optional<FileRecord> record(std::int64_t number, const Text& path) const;
    [[nodiscard]] std::optional<FolderTotals> totals(std::int64_t number, const Text& path) const;

    /// How generation `until` differs from generation `since` in the folder at `path`; without one, or with one above
    /// that, in all that both know: their roots are the same, or one holds the other. Of two generations of which one
    /// is kept as the difference to the other, directly or through others, hardly more than the folders is read.
    ///
    /// Empty where neither has an item there, or the two know nothing in common.
    [[nodiscard]] std::optional<Growth> growth(std::int64_t since, std::int64_t until,
                                               const std::optional<Text>& path = std::nullopt,
                                               const GrowthOptions& options = {}) const;

    void setPinned(std::int64_t number, bool isPinned);
    /// Takes generations out. What later ones are differences to stays in the file until they go, too.
    void forget(const std::vector<std::int64_t>& numbers);
    /// Takes out what the policy does not keep, counted back from `now`; says which.
    std::vector<std::int64_t> thin(const ThinningPolicy& policy, Date now);
    /// Takes all out and gives the space back. Gives the bytes by which the file became smaller.
    std::int64_t clear();
    /// Reads everything; gives the numbers of generations that are damaged.
    [[nodiscard]] std::vector<std::int64_t> check() const;

private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace KestrelCore
