#include "Snapshot/Search/FolderAnswers.hpp"

#include "Base/TextScan.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <algorithm>
#include <bit>
#include <string>
#include <string_view>

// There are several times as many records as folders, and what a folder's path holds, the paths of all its records
// hold. With "music" and "foo/bar" as patterns:
//
//     /home/music             contains "music", from its own name
//     /home/music/live        contains it too, inherited without a look
//     /home/foo               completable for "foo/bar": ends in "foo", so a record named "bar…" in it would do
//     /home/foo/bar           contains "foo/bar"
//
// Where a text is not ASCII a folder counts as completable without further ado: how code points join across the border
// is for the comparison of the whole path to say.

namespace KestrelCore {

namespace {

using Bits = FolderAnswers::Bits;

/// Calls `visit(i)` for each bit that is set.
template <typename Visit>
void forEachBit(Bits bits, const Visit& visit) {
    for (; bits != 0; bits &= bits - 1) visit(static_cast<std::size_t>(std::countr_zero(bits)));
}

bool occurs(const SearchPattern& pattern, std::string_view lowered, bool isASCII) {
    return isASCII && pattern.isASCII() ? pattern.occursInASCII(lowered) : pattern.occursIn(Text{lowered});
}

/// Whether `folder`, a lowercased path in ASCII without a trailing slash, ends as the pattern does up to its last "/".
bool endsInHead(std::string_view folder, const SearchPattern& pattern) {
    return folder.ends_with(pattern.bytes().substr(0, pattern.bytes().rfind('/')));
}

}  // namespace

FolderAnswers::FolderAnswers(const RecordStorage& storage, const SearchIndex& index,
                             std::span<const SearchPattern> patterns) {
    patterns = patterns.first(std::min(patterns.size(), mostPatterns));
    Bits inNames = 0;
    Bits inPaths = 0;
    for (std::size_t i = 0; i < patterns.size(); ++i) (patterns[i].hasSlash() ? inPaths : inNames) |= Bits{1} << i;
    contained_.resize(storage.folders().size());
    if (inNames != 0) answerInNames(storage, index, patterns, inNames);
    if (inPaths != 0) answerInPaths(storage, patterns, inPaths);
}

void FolderAnswers::answerInNames(const RecordStorage& storage, const SearchIndex& index,
                                  std::span<const SearchPattern> patterns, Bits asked) {
    const std::vector<RecordStorage::Folder>& folders = storage.folders();
    std::string lowered;
    // Parents come before children; the top folder has no name.
    for (std::size_t i = 1; i < folders.size(); ++i) {
        const RecordStorage::Folder& folder = folders[i];
        Bits bits = contained_[folder.parent];
        const LetterMask letters = index.folderMask(static_cast<RecordStorage::FolderIndex>(i));
        bool isLowered = false;
        forEachBit(asked & ~bits, [&](std::size_t number) {
            if (!patterns[number].mayOccur(letters)) return;
            if (!isLowered) {
                lowered.clear();
                lowercase(storage.nameOf(folder), lowered);
                isLowered = true;
            }
            if (occurs(patterns[number], lowered, folder.isASCII != 0)) bits |= Bits{1} << number;
        });
        contained_[i] = bits;
    }
}

void FolderAnswers::answerInPaths(const RecordStorage& storage, std::span<const SearchPattern> patterns, Bits asked) {
    const std::vector<RecordStorage::Folder>& folders = storage.folders();
    completable_.resize(folders.size());
    FolderPathReader paths{storage};
    std::string lowered;
    for (std::size_t i = 0; i < folders.size(); ++i) {
        lowered.clear();
        lowercase(paths.prefix(static_cast<RecordStorage::FolderIndex>(i)), lowered);
        const bool isASCIIPath = isASCII(lowered);
        const Bits inherited = contained_[folders[i].parent] & asked;
        contained_[i] |= inherited;
        forEachBit(asked & ~inherited, [&](std::size_t number) {
            const SearchPattern& pattern = patterns[number];
            if (occurs(pattern, lowered, isASCIIPath)) {
                contained_[i] |= Bits{1} << number;
            } else if (!isASCIIPath || !pattern.isASCII() || endsInHead(lowered, pattern)) {
                completable_[i] |= Bits{1} << number;
            }
        });
    }
}

}  // namespace KestrelCore
