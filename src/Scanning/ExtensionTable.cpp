#include "Scanning/ExtensionTable.hpp"

#include "Base/TextScan.hpp"
#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "Model/PackageExtensions.hpp"

// A disk has millions of names and some hundreds of spellings of extensions, so everything about one is found at its
// first sight: lowercased, looked up among the kinds, given its place in the storage. Spellings are kept in a deque,
// whose elements do not move: the table's keys point into them.

namespace KestrelCore {

const ExtensionTable::Entry& ExtensionTable::add(std::string_view extension, RecordStorage& storage) {
    std::string lowercased;
    lowercase(extension, lowercased);
    const Text text{lowercased};
    Entry entry;
    entry.position = storage.internExtension(lowercased);
    entry.isPackage = isPackageExtension(lowercased);
    entry.isApplication = lowercased == "app";
    entry.isLibraryItem = MediaLibraryIndexer::kind(text).has_value() || DocumentLibraryIndexer::kind(text).has_value();
    return entries_.emplace(spellings_.emplace_back(extension), entry).first->second;
}

}  // namespace KestrelCore
