#include "Scanning/ExtensionTable.hpp"

#include "Base/TextScan.hpp"
#include "KestrelCore/Collections/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Collections/MediaLibraryIndexer.hpp"
#include "Model/PackageExtensions.hpp"

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
