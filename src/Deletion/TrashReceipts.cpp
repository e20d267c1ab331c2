#include "KestrelCore/Deletion/TrashReceipts.hpp"

#include "Deletion/TrashReceiptText.hpp"
#include "KestrelCore/Base/Path.hpp"
#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Deletion/SafetyPolicy.hpp"
#include "Platform/FileStatus.hpp"
#include "Platform/PrivateFolder.hpp"
#include "Platform/TrashAccess.hpp"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace KestrelCore {

namespace {

constexpr std::string_view fileEnding = ".receipt";
constexpr const char* restoredMessage = "Restored from Trash.";

std::string fileName(const UUID& id) { return id.uuidString() + std::string{fileEnding}; }

ExpectedItem expectedItem(const TrashReceipt& receipt) {
    return {receipt.identity.device, receipt.identity.inode, receipt.fileTypeBits};
}

std::vector<TrashReceipt> receiptsFor(const std::vector<FileRecord>& records) {
    std::vector<TrashReceipt> receipts;
    receipts.reserve(records.size());
    const UUID request = UUID::random();
    for (const FileRecord& record : records) {
        const FileStatusResult found = fileStatus(record.path().string());
        receipts.push_back({.id = UUID::random(),
                            .path = record.path(),
                            .resultingPath = {},
                            .trashedAt = Date::now(),
                            .identity = record.identity().value_or(FileIdentity{}),
                            .fileTypeBits = found.status ? fileTypeBits(found.status->type) : 0,
                            .request = request});
    }
    return receipts;
}

std::vector<PrivateFolder::File> filesOf(const std::vector<TrashReceipt>& receipts) {
    std::vector<PrivateFolder::File> files;
    files.reserve(receipts.size());
    for (const TrashReceipt& receipt : receipts)
        files.push_back({.name = fileName(receipt.id), .content = receiptText(receipt)});
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
        if (auto receipt = trashReceipt(*id, *content)) receipts.push_back(std::move(*receipt));
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

DeletionItemResult TrashReceipts::restore(const TrashReceipt& receipt, const std::optional<Text>& name) const {
    DeletionItemResult result{.id = receipt.id, .path = receipt.path, .resultingPath = {}, .message = {}};
    const Text path = name ? Path::appending(Path::deletingLastComponent(receipt.path), *name) : receipt.path;
    const bool isName = !name || (Path::lastComponent(Path::standardized(path)).view() == name->view() &&
                                  name->view().find('\0') == std::string_view::npos);
    if (!isName) {
        result.message = "That is no name that an item can have.";
        return result;
    }
    const URL destination = URL::fromPath(path);
    if (const auto reason = SafetyPolicy::blockedReason(destination)) {
        result.message = *reason;
        result.errorCase = KestrelError::Case::safetyViolation;
        return result;
    }
    const auto seen = presentPlace(receipt);
    // What is not seen may be there all the same, in a trash that the system lets nobody look into: the attempt tells.
    const auto place = seen ? seen : receipt.resultingPath;
    constexpr std::string_view goneMessage = "The item is no longer in the Trash.";
    if (!place) {
        result.message = Text{goneMessage};
        return result;
    }
    try {
        const auto remark =
            restoreFromTrash(URL::fromPath(*place), URL::fromPath(receipt.path), expectedItem(receipt), name);
        result.succeeded = true;
        result.resultingPath = path;
        result.message = remark ? Text::concatenating({restoredMessage, " ", remark->view()}) : Text{restoredMessage};
        forget(receipt);
    } catch (const PlatformError& error) {
        const bool isRefused = error.domain() == PlatformError::Domain::fileManager &&
                               (error.code() == PlatformError::fileReadNoPermission ||
                                error.code() == PlatformError::fileWriteNoPermission);
        result.message = seen || isRefused ? error.description() : Text{goneMessage};
    }
    return result;
}

void TrashReceipts::forget(const TrashReceipt& receipt) const { PrivateFolder{folder_}.remove(fileName(receipt.id)); }

}  // namespace KestrelCore
