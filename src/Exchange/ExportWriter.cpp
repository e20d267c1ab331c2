#include "Exchange/ExportWriter.hpp"

#include "Base/SeededHash.hpp"

#include <array>

namespace KestrelCore {

std::size_t ExportedLinks::IdentityHash::operator()(const FileIdentity& identity) const {
    return static_cast<std::size_t>(seededHash(identity.device, identity.inode));
}

ExportedLinks::ExportedLinks(WalkedTree& tree, std::uint32_t top) {
    if (top == WalkedTree::none) return;
    const std::uint32_t first = tree.firstFile(top);
    const std::uint32_t end = tree.endOfFilesBelow(top);
    tree.eachIdentity(first, end, [this](const FileIdentity& identity, bool isDuplicate) {
        if (isDuplicate) isCounted_.emplace(identity, false);
    });
    if (isCounted_.empty()) return;
    tree.eachIdentity(first, end, [this](const FileIdentity& identity, bool isDuplicate) {
        if (isDuplicate) return;
        if (const auto found = isCounted_.find(identity); found != isCounted_.end()) found->second = true;
    });
}

ExportedLinks::Kind ExportedLinks::kindOf(const WalkedItem& item) const {
    const bool isDuplicate = item.row.isHardLinkDuplicate != 0;
    const auto found = item.identity ? isCounted_.find(*item.identity) : isCounted_.end();
    if (found == isCounted_.end()) return isDuplicate ? Kind::countedElse : Kind::none;
    if (found->second) return Kind::shared;
    return isDuplicate ? Kind::countedElse : Kind::none;
}

std::string_view exchangeName(FileKind kind) {
    switch (kind) {
    case FileKind::file: return "file";
    case FileKind::directory: return "directory";
    case FileKind::package: return "package";
    case FileKind::symbolicLink: return "symbolicLink";
    case FileKind::other: break;
    }
    return "other";
}

void appendJSONString(std::string& out, std::string_view text) {
    static constexpr auto isEscaped = [] {
        std::array<bool, 256> table{};
        for (unsigned byte = 0; byte < 0x20; ++byte) table[byte] = true;
        for (const unsigned byte : {0x22U, 0x5CU, 0x7FU}) table[byte] = true;
        return table;
    }();
    static constexpr std::string_view digits = "0123456789abcdef";
    out += '"';
    std::size_t done = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (!isEscaped[byte]) continue;
        out.append(text, done, i - done);
        done = i + 1;
        if (byte == '"' || byte == '\\') {
            (out += '\\') += text[i];
        } else {
            ((out += "\\u00") += digits[byte >> 4]) += digits[byte & 15U];
        }
    }
    out.append(text, done);
    out += '"';
}

}  // namespace KestrelCore
