#include "Applications/Bundles/PropertyList.hpp"

#include <array>

namespace KestrelCore {
namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool beginsAsXML(std::string_view bytes) {
    const std::size_t start = bytes.find_first_not_of(" \t\r\n");
    if (start == std::string_view::npos) return false;
    const std::string_view rest = bytes.substr(start);
    constexpr std::array<std::string_view, 4> beginnings{"<?xml", "<!DOCTYPE", "<!--", "<plist"};
    for (const std::string_view beginning : beginnings) {
        if (rest.starts_with(beginning)) return true;
    }
    return false;
}

}  // namespace

std::optional<PropertyListStrings> readPropertyList(std::string_view bytes) {
    if (bytes.size() > PropertyListLimits::fileBytes) return std::nullopt;
    if (bytes.starts_with("bplist")) return readBinaryPropertyList(bytes);
    const std::string_view withoutMark = bytes.starts_with(byteOrderMark) ? bytes.substr(byteOrderMark.size()) : bytes;
    return beginsAsXML(withoutMark) ? readXMLPropertyList(withoutMark) : readTextPropertyList(bytes);
}

}  // namespace KestrelCore
