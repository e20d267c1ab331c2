#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/PrivateFolder.hpp"
#include "Platform/TrashAccess.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fmt/format.h>
#include <utility>

// A receipt is a text of lines "Key=value" under a heading, in a file named after its identifier:
//
//     [Kestrel Trash Receipt]
//     Path=/home/anna/old%20photos
//     Item=64768 1234567 16384
//     TrashedAt=816948000.25
//     ResultingPath=/home/anna/.local/share/Trash/files/old%20photos
//
// Paths are percent-encoded where a byte is not printable ASCII, a blank or "%". The last line comes after the move.

namespace KestrelCore {

namespace {

constexpr std::string_view heading = "[Kestrel Trash Receipt]";
constexpr std::string_view fileEnding = ".receipt";
constexpr const char* restoredMessage = "Restored from Trash.";

std::string encodedPath(const Text& path) {
    std::string text;
    for (const char c : path.view()) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && c != '%') {
            text += c;
        } else {
            text += fmt::format("%{:02X}", byte);
        }
    }
    return text;
}

std::optional<Text> decodedPath(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            bytes += text[i];
            continue;
        }
        unsigned byte = 0;
        if (i + 2 >= text.size()) return std::nullopt;
        const char* begin = text.data() + i + 1;
        const auto [end, error] = std::from_chars(begin, begin + 2, byte, 16);
        if (error != std::errc{} || end != begin + 2 || byte == 0) return std::nullopt;
        bytes += static_cast<char>(byte);
        i += 2;
    }
    if (!bytes.starts_with('/')) return std::nullopt;
    Text path{bytes};
    // A receipt of ours holds the path as it was validated, byte by byte.
    if (path.view() != bytes || Path::standardized(path).view() != bytes) return std::nullopt;
    return path;
}

/// Reads one number off the beginning of `text`, and the blank behind it.
template <typename Number>
bool takeNumber(std::string_view& text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{}) return false;
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (text.starts_with(' ')) text.remove_prefix(1);
    return true;
}

std::string fileName(const UUID& id) { return id.uuidString() + std::string{fileEnding}; }

ExpectedItem expectedItem(const TrashReceipt& receipt) {
    return {receipt.identity.device, receipt.identity.inode, receipt.fileTypeBits};
}

std::vector<TrashReceipt> receiptsFor(const std::vector<FileRecord>& records) {
    std::vector<TrashReceipt> receipts;
    receipts.reserve(records.size());
    for (const FileRecord& record : records) {
        const FileStatusResult found = fileStatus(record.path().string());
        receipts.push_back({.id = UUID::random(),
                            .path = record.path(),
                            .resultingPath = {},
                            .trashedAt = Date::now(),
                            .identity = record.identity().value_or(FileIdentity{}),
                            .fileTypeBits = found.status ? fileTypeBits(found.status->type) : 0});
    }
    return receipts;
}

std::vector<PrivateFolder::File> filesOf(const std::vector<TrashReceipt>& receipts) {
    std::vector<PrivateFolder::File> files;
    files.reserve(receipts.size());
    for (const TrashReceipt& receipt : receipts)
        files.push_back({.name = fileName(receipt.id), .content = TrashReceipts::encoded(receipt)});
    return files;
}

TrashReceipt afterMove(TrashReceipt receipt, const DeletionItemResult& result) {
    receipt.trashedAt = Date::now();
    receipt.resultingPath = result.resultingPath;
    if (!receipt.resultingPath) return receipt;
    // On an overlay a file with several names has another inode number since it was moved.
    const FileStatusResult found = fileStatus(receipt.resultingPath->string());
    if (found.status) receipt.identity = {found.status->device, found.status->inode};
    return receipt;
}

}  // namespace

std::string TrashReceipts::encoded(const TrashReceipt& receipt) {
    std::string text = fmt::format("{}\nPath={}\nItem={} {} {}\nTrashedAt={}\n", heading, encodedPath(receipt.path),
                                   receipt.identity.device, receipt.identity.inode, receipt.fileTypeBits,
                                   receipt.trashedAt.secondsSinceReferenceDate);
    if (receipt.resultingPath) text += "ResultingPath=" + encodedPath(*receipt.resultingPath) + "\n";
    return text;
}

std::optional<TrashReceipt> TrashReceipts::decoded(const UUID& id, std::string_view text) {
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

std::vector<DeletionItemResult> TrashReceipts::execute(DeletionCoordinator& coordinator,
                                                       const DeletionRequest& request) const {
    return execute(coordinator, request, [](const DeletionItemResult&) { return true; });
}

std::vector<DeletionItemResult> TrashReceipts::execute(DeletionCoordinator& coordinator, const DeletionRequest& request,
                                                       const DeletionCoordinator::ResultObserver& onResult,
                                                       const CancellationToken& cancellation) const {
    if (request.mode != DeletionMode::trash) return coordinator.execute(request, onResult, cancellation);
    const PrivateFolder folder{folder_};
    std::vector<TrashReceipt> receipts;
    try {
        receipts = receiptsFor(request.records);
        folder.write(filesOf(receipts));
    } catch (const PlatformError& error) {
        for (const TrashReceipt& receipt : receipts) forget(receipt);
        std::vector<DeletionItemResult> failures;
        for (const FileRecord& record : request.records) {
            failures.push_back(
                {.id = record.id(), .path = record.path(), .resultingPath = {}, .message = error.description()});
            if (!onResult(failures.back())) break;
        }
        return failures;
    }

    // The places in the Trash are written down together at the end: until then the first form of a receipt is enough
    // to find its item again.
    std::size_t done = 0;
    std::vector<TrashReceipt> moved;
    std::vector<DeletionItemResult> results = coordinator.execute(
        request,
        [&](const DeletionItemResult& result) {
            TrashReceipt& receipt = receipts[done++];
            if (result.succeeded) {
                moved.push_back(afterMove(std::move(receipt), result));
            } else if (result.errorCase || !presentPlace(receipt)) {
                forget(receipt);
            }
            return onResult(result);
        },
        cancellation);
    for (std::size_t i = done; i < receipts.size(); ++i) forget(receipts[i]);
    try {
        folder.write(filesOf(moved));
    } catch (const PlatformError&) {
        // Each is still there in its first form.
    }
    return results;
}

std::vector<TrashReceipt> TrashReceipts::receipts() const {
    const PrivateFolder folder{folder_};
    std::vector<TrashReceipt> receipts;
    for (const std::string& name : folder.names()) {
        if (!name.ends_with(fileEnding)) continue;
        const auto id = UUID::parse(std::string_view{name}.substr(0, name.size() - fileEnding.size()));
        const auto content = id ? folder.read(name) : std::nullopt;
        if (!content) continue;
        if (auto receipt = decoded(*id, *content)) receipts.push_back(std::move(*receipt));
    }
    std::stable_sort(receipts.begin(), receipts.end(), [](const TrashReceipt& a, const TrashReceipt& b) {
        return a.trashedAt.secondsSinceReferenceDate > b.trashedAt.secondsSinceReferenceDate;
    });
    return receipts;
}

std::optional<Text> TrashReceipts::presentPlace(const TrashReceipt& receipt) {
    const ExpectedItem expected = expectedItem(receipt);
    if (receipt.resultingPath) {
        if (isInTrash(URL::fromPath(*receipt.resultingPath), expected)) return receipt.resultingPath;
        return std::nullopt;
    }
    const auto place = findInTrash(URL::fromPath(receipt.path), expected);
    return place ? std::optional<Text>{place->path()} : std::nullopt;
}

DeletionItemResult TrashReceipts::restore(const TrashReceipt& receipt) const {
    DeletionItemResult result{.id = receipt.id, .path = receipt.path, .resultingPath = {}, .message = {}};
    const URL destination = URL::fromPath(receipt.path);
    if (const auto reason = SafetyPolicy::blockedReason(destination)) {
        result.message = *reason;
        result.errorCase = KestrelError::Case::safetyViolation;
        return result;
    }
    const auto place = presentPlace(receipt);
    if (!place) {
        result.message = "The item is no longer in the Trash.";
        return result;
    }
    try {
        restoreFromTrash(URL::fromPath(*place), destination, expectedItem(receipt));
        result.succeeded = true;
        result.resultingPath = receipt.path;
        result.message = restoredMessage;
        forget(receipt);
    } catch (const PlatformError& error) {
        result.message = error.description();
    }
    return result;
}

void TrashReceipts::forget(const TrashReceipt& receipt) const { PrivateFolder{folder_}.remove(fileName(receipt.id)); }

}  // namespace KestrelCore
