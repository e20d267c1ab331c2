#include "commands/ReceiptChoice.hpp"

#include "store/NamedItem.hpp"

#include "KestrelCore/Base/Path.hpp"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <string_view>
#include <system_error>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Fewer characters than this are meant as an identifier only where no item has that name.
constexpr std::size_t fewestDigits = 4;

/// Whether the identifier begins with `text`, in either case.
bool beginsWith(const UUID& id, std::string_view text) {
    const std::string digits = id.uuidString();
    return !text.empty() && text.size() <= digits.size() &&
           std::equal(text.begin(), text.end(), digits.begin(),
                      [](unsigned char a, unsigned char b) { return std::toupper(a) == b; });
}

/// The path with the links before its last component resolved: a receipt's path has none.
std::string withoutLinks(const std::string& path) {
    const std::filesystem::path whole{path};
    std::error_code error;
    const auto parent = std::filesystem::canonical(whole.parent_path(), error);
    return error ? path : (parent / whole.filename()).string();
}

}  // namespace

std::vector<const KnownReceipt*> meantBy(const std::string& operand, const std::vector<KnownReceipt>& receipts) {
    std::vector<const KnownReceipt*> meant;
    const auto addWhere = [&](const auto& isMeant) {
        for (const KnownReceipt& each : receipts) {
            if (isMeant(each.receipt)) meant.push_back(&each);
        }
    };
    if (const NamedItem named = namedItem(operand); !named.refusal) {
        const std::string plain = withoutLinks(named.path);
        addWhere([&](const TrashReceipt& receipt) {
            return receipt.path.view() == named.path || receipt.path.view() == plain;
        });
    }
    if (meant.empty()) {
        const auto hasName = [&](const TrashReceipt& receipt) {
            return Path::lastComponent(receipt.path) == Text{operand};
        };
        const bool isName = std::ranges::any_of(receipts, hasName, &KnownReceipt::receipt);
        addWhere([&](const TrashReceipt& receipt) {
            return hasName(receipt) || ((!isName || operand.size() >= fewestDigits) && beginsWith(receipt.id, operand));
        });
    }
    const auto isPresent = [](const KnownReceipt* each) { return each->place.has_value(); };
    if (std::ranges::any_of(meant, isPresent)) std::erase_if(meant, [&](const auto* each) { return !isPresent(each); });
    return meant;
}

}  // namespace KestrelCLI
