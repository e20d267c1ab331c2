#pragma once

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace KestrelCore {

/// What people say that a file is, told by its extension alone: no file is opened.
enum class ItemCategory : std::uint8_t {
    photos,
    videos,
    music,
    documents,
    archives,
    code,
    applications,
    diskImages,
    databases,
    other
};

/// Every case, in their order.
inline constexpr std::array allItemCategories{
    ItemCategory::photos,    ItemCategory::videos, ItemCategory::music,        ItemCategory::documents,
    ItemCategory::archives,  ItemCategory::code,   ItemCategory::applications, ItemCategory::diskImages,
    ItemCategory::databases, ItemCategory::other};

/// The one table of the categories: their names, the words for them, and the extensions. Photos, videos and documents
/// are at least those of the libraries, but for "ts": there are far more sources of that kind than recordings.
class KESTRELCORE_EXPORT ItemCategories {
public:
    ItemCategories() = delete;

    /// Of a file with that extension, in any case and without the dot; `other` for one that is in no list.
    [[nodiscard]] static ItemCategory of(const Text& fileExtension);
    /// Of an item: packages are applications; folders, links and what has no content have none.
    [[nodiscard]] static std::optional<ItemCategory> of(const FileRecord& record);

    /// As a person reads it: "photos", "disk images".
    [[nodiscard]] static std::string_view nameOf(ItemCategory category);
    /// The category that a word in lower case means ("photo", "pictures", "film", "disk-images"); empty for any other.
    [[nodiscard]] static std::optional<ItemCategory> named(std::string_view word);
};

}  // namespace KestrelCore
