#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "Snapshot/RecordStorage.hpp"
#include "Snapshot/Search/LetterMask.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// What every search over one snapshot needs again: the letter masks of all names, and the extensions lowercased.
/// Eight bytes a record and a folder. Never changes once it is built.
///
/// Lowercased names are not kept: the masks turn nearly all records away, and lowercasing the rest costs less than
/// reading a second copy of the names.
class SearchIndex {
public:
    /// The mask of a name as `nameMask` has it.
    [[nodiscard]] static LetterMask maskOf(std::string_view name, bool isASCII);

    /// `storage` must be finished. Works on `threads` threads.
    SearchIndex(const RecordStorage& storage, unsigned threads);

    /// Of the record's lowercased name.
    [[nodiscard]] LetterMask nameMask(std::size_t record) const { return nameMasks_[record]; }
    /// Of the folder's lowercased name.
    [[nodiscard]] LetterMask folderMask(RecordStorage::FolderIndex folder) const { return folderMasks_[folder]; }
    /// The extension at that position of `RecordStorage::extensions`, lowercased.
    [[nodiscard]] const Text& loweredExtension(std::size_t position) const { return loweredExtensions_[position]; }
    [[nodiscard]] std::size_t extensionCount() const { return loweredExtensions_.size(); }

    [[nodiscard]] std::size_t memoryBytes() const;

private:
    std::vector<LetterMask> nameMasks_;
    std::vector<LetterMask> folderMasks_;
    std::vector<Text> loweredExtensions_;
};

}  // namespace KestrelCore
