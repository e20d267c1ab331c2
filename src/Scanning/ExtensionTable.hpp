#pragma once

#include "Base/SeededHash.hpp"
#include "Snapshot/RecordStorage.hpp"

#include <boost/unordered/unordered_flat_map.hpp>

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>

namespace KestrelCore {

/// What a scan must know of a name's extension, found once for each spelling met. Belongs to one storage, to whose
/// extensions the positions refer. One thread.
class ExtensionTable {
public:
    struct Entry {
        std::uint32_t position = 0;  ///< among the extensions of the storage, lowercased
        bool isPackage = false;      ///< makes a directory a package
        bool isApplication = false;  ///< lowercased, it is exactly "app"
        bool isLibraryItem = false;  ///< of an image, video or document: such a file is always listed on its own
    };

    /// `extension` as it stands in the name, well-formed; "" when there is none.
    [[nodiscard]] const Entry& entry(std::string_view extension, RecordStorage& storage) {
        if (const auto found = entries_.find(extension); found != entries_.end()) return found->second;
        return add(extension, storage);
    }

private:
    const Entry& add(std::string_view extension, RecordStorage& storage);

    boost::unordered_flat_map<std::string_view, Entry, SeededHash> entries_;
    std::deque<std::string> spellings_;  ///< what the keys point to
};

}  // namespace KestrelCore
