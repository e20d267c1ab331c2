#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/RawValue.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCore {

class FileManager;

/// What happens to the items of a request.
enum class DeletionMode : std::uint8_t { trash, permanent };

/// "trash" or "permanent".
[[nodiscard]] KESTRELCORE_EXPORT std::string_view rawValue(DeletionMode mode);
/// Empty for any other text.
template <>
[[nodiscard]] KESTRELCORE_EXPORT std::optional<DeletionMode> fromRawValue<DeletionMode>(std::string_view rawValue);

/// What the user asked for. The records are those of a scan, or of `DeletionPlan::freshRecord` for what no scan has
/// seen.
struct DeletionRequest {
    std::vector<FileRecord> records;  ///< in the order in which the user chose them
    DeletionMode mode = DeletionMode::trash;
    std::optional<Text> typedConfirmation;  ///< what the user typed to confirm a permanent removal
    /// Asked about each item right before it is judged and taken, on the calling thread: a finished sentence says why
    /// it stays. For hosts that know more than the policy; may be empty.
    std::function<std::optional<Text>(const FileRecord& record)> lastLook{};
};

/// What became of one item.
struct DeletionItemResult {
    UUID id;    ///< of the record
    Text path;  ///< of the record
    bool succeeded = false;
    std::optional<Text> resultingPath;  ///< the item's place in the Trash, where the system tells it
    Text message;                       ///< the outcome in finished sentences, for the user
    /// Which of the library's own errors it was: `safetyViolation` when the safety policy refused the item, `staleItem`
    /// when it is no longer the scanned one. Absent for a success, a missing confirmation and a failure of the system.
    std::optional<KestrelError::Case> errorCase = std::nullopt;
};

/// Removes scanned items, into the Trash or for good. Trusts no scan: every item passes the safety policy at the moment
/// of its removal, and the file manager is told what the item must still be. One item's failure never stops the others.
///
///     DeletionCoordinator coordinator{FileManager::standard()};
///     const auto results = coordinator.execute({.records = chosen, .mode = DeletionMode::trash});
///     for (const DeletionItemResult& result : results) show(result.path, result.message);
///
/// Any thread; requests run one at a time, and block on the disk. Copies nothing and retries nothing.
class KESTRELCORE_EXPORT DeletionCoordinator {
public:
    /// `protectedPlaces` are the host's own, on top of those that the library protects.
    explicit DeletionCoordinator(std::shared_ptr<FileManager> fileManager,
                                 std::vector<ProtectedPlace> protectedPlaces = {});
    DeletionCoordinator(const DeletionCoordinator&) = delete;
    DeletionCoordinator& operator=(const DeletionCoordinator&) = delete;
    ~DeletionCoordinator();

    /// One result for each record, in the request's order. A permanent removal needs "DELETE" as typed confirmation;
    /// without it nothing is touched and every item fails. Does not throw for anything that happens to an item.
    [[nodiscard]] std::vector<DeletionItemResult> execute(const DeletionRequest& request);
    /// Told of each result as soon as it is there, on the calling thread. When it returns false, the items that are
    /// left stay as they are and get no result. The same after a cancellation, which also stops within an item: that
    /// one fails, what is left of it has its old place, and its message tells whether something is gone.
    using ResultObserver = std::function<bool(const DeletionItemResult& result)>;
    [[nodiscard]] std::vector<DeletionItemResult>
    execute(const DeletionRequest& request, const ResultObserver& onResult, const CancellationToken& cancellation = {});

private:
    class Run;
    struct State;

    std::unique_ptr<State> state_;
};

}  // namespace KestrelCore
