#include "Snapshot/Search/SearchIndex.hpp"

#include "Base/TextScan.hpp"
#include "Snapshot/Search/ParallelBlocks.hpp"

#include <string>
#include <string_view>

namespace KestrelCore {

LetterMask SearchIndex::maskOf(std::string_view name, bool isASCII) {
    if (isASCII) return asciiLetterMask(name);
    std::string lowered;
    lowercase(name, lowered);
    return letterMask(decomposedUTF8(lowered));
}

SearchIndex::SearchIndex(const RecordStorage& storage, unsigned threads)
    : nameMasks_(storage.size()), folderMasks_(storage.folders().size()) {
    forEachBlock(storage.size(), threads, [&](std::size_t begin, std::size_t end, unsigned) {
        for (std::size_t i = begin; i < end; ++i) {
            const RecordStorage::Row& row = storage.row(i);
            nameMasks_[i] = maskOf(storage.nameOf(row), row.isASCII != 0);
        }
        return true;
    });
    const std::vector<RecordStorage::Folder>& folders = storage.folders();
    for (std::size_t i = 0; i < folders.size(); ++i) {
        folderMasks_[i] = maskOf(storage.nameOf(folders[i]), folders[i].isASCII != 0);
    }
    loweredExtensions_.reserve(storage.extensions().size());
    for (const Text& fileExtension : storage.extensions()) loweredExtensions_.push_back(fileExtension.lowercased());
}

std::size_t SearchIndex::memoryBytes() const {
    return (nameMasks_.capacity() + folderMasks_.capacity()) * sizeof(LetterMask) +
           loweredExtensions_.capacity() * sizeof(Text);
}

}  // namespace KestrelCore
