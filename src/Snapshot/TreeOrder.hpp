#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// How names of one folder are ordered in a history: by normal form C, then byte by byte. A total order.
[[nodiscard]] std::strong_ordering compareNames(std::string_view a, std::string_view b);
/// Whether two names are canonically equal.
[[nodiscard]] bool areEqualNames(std::string_view a, std::string_view b);
/// Whether the content of the folder `folder` comes before its sibling `next` when whole paths are sorted, as a scan
/// does it: "a/x" after "a.txt" and before "ab". `next` does not come before `folder`.
[[nodiscard]] bool contentComesBefore(std::string_view folder, std::string_view next);

/// The order in which a history keeps records. It depends on their paths alone, so that two scans of one folder agree
/// in it, and neighbours are alike.
///
/// Folders come each before what it holds, siblings by name: so what lies below a folder is a range. Everything else
/// comes folder by folder in the same order, by name: so what lies in a folder is a range, and what lies below it, too.
/// Records whose texts follow no pattern come last, as they stand in the snapshot.
class TreeOrder {
public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    struct Folder {
        std::uint32_t row = none;                  ///< in the storage; none where no record stands for the folder
        RecordStorage::FolderIndex folder = none;  ///< in the storage; none of an empty folder
        std::uint32_t parent = none;
        std::uint32_t end = 0;         ///< where what lies below ends: one behind the last folder of it
        std::uint32_t subfolders = 0;  ///< right inside
        std::uint32_t firstFile = 0;
        std::uint32_t files = 0;  ///< right inside
    };

    /// Looks at each record's row twice, on two threads where there are two.
    explicit TreeOrder(const RecordStorage& storage);

    [[nodiscard]] const RecordStorage& storage() const { return storage_; }
    /// The first is "/", the parent of none.
    [[nodiscard]] const std::vector<Folder>& folders() const { return folders_; }
    /// Rows of the storage.
    [[nodiscard]] const std::vector<std::uint32_t>& files() const { return files_; }
    [[nodiscard]] const std::vector<std::uint32_t>& irregular() const { return irregular_; }
    [[nodiscard]] std::string_view nameOf(const Folder& folder) const;
    /// The place of each row of the storage: folders first, then files, then irregular ones.
    [[nodiscard]] std::vector<std::uint32_t> places() const;
    /// Position in `folders` of the one with exactly this path; none where there is none.
    [[nodiscard]] std::uint32_t folderAt(std::string_view path) const;

private:
    /// Makes `folders_`, and room in `files_`. What comes in as the number of files of each folder, among the first
    /// rows and among the others, goes out as the position of the first of them.
    void placeFolders(const std::vector<RecordStorage::FolderIndex>& first,
                      const std::vector<std::uint32_t>& containers, std::vector<std::uint32_t>& filesOfFirst,
                      std::vector<std::uint32_t>& filesOfSecond);

    const RecordStorage& storage_;
    std::vector<Folder> folders_;
    std::vector<std::uint32_t> files_;
    std::vector<std::uint32_t> irregular_;
};

/// What the order of a scan is made from: folders and files as a `TreeOrder` has them, however they are kept.
class ScanOrderSource {
public:
    virtual ~ScanOrderSource() = default;
    [[nodiscard]] virtual std::uint32_t folderCount() const = 0;
    [[nodiscard]] virtual std::uint32_t folderEnd(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::uint32_t firstFile(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::uint32_t fileCount(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual bool hasRecord(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::string_view folderName(std::uint32_t folder) const = 0;
    [[nodiscard]] virtual std::string_view fileName(std::uint32_t file) const = 0;
};

/// A run of records in the order of a scan: one folder's own record, or files that follow each other.
struct ScanOrderRun {
    std::uint32_t first;
    std::uint32_t count;
    bool isFolder;
};
/// The order that a scan gives its records: whole paths sorted by normal form C. Irregular records are not in it.
[[nodiscard]] std::vector<ScanOrderRun> scanOrder(const ScanOrderSource& source);

}  // namespace KestrelCore
