#include "KestrelCore/Scanning/ExtensionTable.hpp"

#include "KestrelCore/Base/TextScan.hpp"
#include "KestrelCore/Libraries/DocumentLibraryIndexer.hpp"
#include "KestrelCore/Libraries/MediaLibraryIndexer.hpp"

#include <algorithm>
#include <array>

namespace KestrelCore {

namespace {

constexpr std::array<std::string_view, 7> packageExtensions{"app",    "appex",    "bundle",     "framework",
                                                            "plugin", "prefpane", "qlgenerator"};

}  // namespace

const ExtensionTable::Entry& ExtensionTable::add(std::string_view extension, RecordStorage& storage) {
    std::string lowercased;
    lowercase(extension, lowercased);
    const Text text{lowercased};
    Entry entry;
    entry.position = storage.internExtension(lowercased);
    entry.isPackage =
        std::find(packageExtensions.begin(), packageExtensions.end(), lowercased) != packageExtensions.end();
    entry.isApplication = lowercased == "app";
    entry.isLibraryItem = MediaLibraryIndexer::kind(text).has_value() || DocumentLibraryIndexer::kind(text).has_value();
    return entries_.emplace(spellings_.emplace_back(extension), entry).first->second;
}

}  // namespace KestrelCore
