#pragma once

#include "Snapshot/RecordStorage.hpp"

#include <cstddef>
#include <string>
#include <string_view>

namespace KestrelCore {

/// Reads records that are spelled exactly as the library writes them, straight into rows. Everything else (another
/// order of keys, blanks, unusual escapes or numbers, a record that is cut off or unsound) is left to the general
/// reader: what this one takes, that one would take with the same result.
class PlainRecordReader {
public:
    /// `storage` must outlive this.
    explicit PlainRecordReader(RecordStorage& storage) : storage_{storage} {}

    struct Progress {
        std::size_t bytes = 0;    ///< up to the end of the last record taken; 0 when there was none
        std::size_t records = 0;  ///< how many were taken
    };
    /// Takes the records at the beginning of `text`, as far as they are plain and whole: "{…},{…},…".
    Progress read(std::string_view text);

private:
    class Cursor;

    [[nodiscard]] bool readRecord(Cursor& cursor);
    [[nodiscard]] bool findFolder(std::string_view rawParent);

    RecordStorage& storage_;
    // Consecutive records mostly lie in one folder.
    std::string rawParent_;  ///< as it is spelled in the text; empty before the first
    std::string parent_;
    RecordStorage::FolderIndex folder_ = RecordStorage::topFolder;
};

}  // namespace KestrelCore
