#include "Applications/Bundles/PropertyListDecoding.hpp"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <plist/plist.h>

namespace KestrelCore {
namespace {

struct FreePropertyList {
    void operator()(void* node) const { plist_free(node); }
};
using OwnedNode = std::unique_ptr<void, FreePropertyList>;

struct FreeMemory {
    void operator()(void* memory) const { std::free(memory); }
};

std::optional<PropertyListStrings> stringsOf(plist_t root) {
    if (root == nullptr || plist_get_node_type(root) != PLIST_DICT) return std::nullopt;
    plist_dict_iter rawIterator = nullptr;
    plist_dict_new_iter(root, &rawIterator);
    const std::unique_ptr<void, FreeMemory> iterator{rawIterator};
    PropertyListStrings strings;
    while (true) {
        char* rawKey = nullptr;
        plist_t value = nullptr;
        plist_dict_next_item(root, iterator.get(), &rawKey, &value);
        const std::unique_ptr<char, FreeMemory> key{rawKey};
        if (value == nullptr || !key) return strings;
        std::optional<Text> string;
        if (plist_get_node_type(value) == PLIST_STRING) {
            std::uint64_t length = 0;
            const char* bytes = plist_get_string_ptr(value, &length);
            if (bytes != nullptr) string = Text{std::string_view{bytes, static_cast<std::size_t>(length)}};
        }
        strings.insert_or_assign(Text{key.get()}, std::move(string));
    }
}

}  // namespace

std::optional<PropertyListStrings> decodeBinaryPropertyList(std::string_view bytes) {
    plist_t root = nullptr;
    plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    return stringsOf(OwnedNode{root}.get());
}

std::optional<PropertyListStrings> decodeXMLPropertyList(std::string_view bytes) {
    plist_t root = nullptr;
    plist_from_xml(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
    return stringsOf(OwnedNode{root}.get());
}

}  // namespace KestrelCore
