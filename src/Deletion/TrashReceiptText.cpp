#include "Deletion/TrashReceiptText.hpp"

#include "Base/DecimalText.hpp"
#include "Base/PercentCoding.hpp"
#include "KestrelCore/Base/Path.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <concepts>
#include <fmt/format.h>
#include <utility>

// A receipt is a text of lines "Key=value" under a heading, in a file named after its identifier:
//
//     [Kestrel Trash Receipt]
//     Path=/home/anna/old%20photos
//     Item=64768 1234567 16384
//     TrashedAt=816948000.25
//     Request=0E2A5C1C-96F5-4D0B-9E0B-4E8A2D1C7B11
//     ResultingPath=/home/anna/.local/share/Trash/files/old%20photos
//
// Paths are percent-encoded where a byte is not printable ASCII, a blank or "%". The last line comes after the move.

namespace KestrelCore {

namespace {

constexpr std::string_view heading = "[Kestrel Trash Receipt]";

constexpr KeptBytes keptInReceipt = keepingPrintable();

std::string encodedPath(const Text& path) { return percentEncoded(path.view(), keptInReceipt); }

std::optional<Text> decodedPath(std::string_view text) {
    const std::optional<std::string> bytes = percentDecoded(text);
    if (!bytes || !bytes->starts_with('/')) return std::nullopt;
    Text path{*bytes};
    // A receipt of ours holds the path as it was validated, byte by byte.
    if (path.view() != *bytes || Path::standardized(path).view() != *bytes) return std::nullopt;
    return path;
}

std::from_chars_result readNumber(const char* first, const char* last, double& number) {
    return readDecimal(first, last, number);
}
template <std::integral Number>
std::from_chars_result readNumber(const char* first, const char* last, Number& number) {
    return std::from_chars(first, last, number);
}

/// Reads one number off the beginning of `text`, and the blank behind it.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = readNumber(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (text.starts_with(' ')) text.remove_prefix(1);
    return true;
}

}  // namespace

std::string receiptText(const TrashReceipt& receipt) {
    std::string text = fmt::format("{}\nPath={}\nItem={} {} {}\nTrashedAt={}\n", heading, encodedPath(receipt.path),
                                   receipt.identity.device, receipt.identity.inode, receipt.fileTypeBits,
                                   receipt.trashedAt.secondsSinceReferenceDate);
    if (receipt.request) text += "Request=" + receipt.request->uuidString() + "\n";
    if (receipt.resultingPath) text += "ResultingPath=" + encodedPath(*receipt.resultingPath) + "\n";
    return text;
}

std::optional<TrashReceipt> trashReceipt(const UUID& id, std::string_view text) {
    TrashReceipt receipt{.id = id, .path = {}, .resultingPath = {}, .trashedAt = {}, .identity = {}};
    bool hasHeading = false;
    bool hasItem = false;
    bool hasDate = false;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        const std::size_t sign = line.find('=');
        const std::string_view key = line.substr(0, sign);
        std::string_view value = sign == std::string_view::npos ? std::string_view{} : line.substr(sign + 1);
        if (line == heading) {
            hasHeading = true;
        } else if (key == "Path") {
            auto path = decodedPath(value);
            if (!path) return std::nullopt;
            receipt.path = std::move(*path);
        } else if (key == "ResultingPath") {
            // One that can't be read is as good as none: the item is then looked for.
            receipt.resultingPath = decodedPath(value);
        } else if (key == "Request") {
            receipt.request = UUID::parse(value);
        } else if (key == "Item") {
            hasItem = takeNumber(value, receipt.identity.device) && takeNumber(value, receipt.identity.inode) &&
                      takeNumber(value, receipt.fileTypeBits) && value.empty();
        } else if (key == "TrashedAt") {
            double seconds = 0;
            hasDate = takeNumber(value, seconds) && value.empty() && std::isfinite(seconds);
            receipt.trashedAt = Date{seconds};
        }
    }
    if (!hasHeading || !hasItem || !hasDate || receipt.path.isEmpty()) return std::nullopt;
    return receipt;
}

}  // namespace KestrelCore
