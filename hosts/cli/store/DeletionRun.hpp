#pragma once

#include "output/Session.hpp"
#include "store/DeletionRecords.hpp"
#include "store/HistoryAccess.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Deletion/DeletionMeasurement.hpp"
#include "KestrelCore/Deletion/ProtectedPlace.hpp"
#include "KestrelCore/Model/FileRecord.hpp"
#include "KestrelCore/Model/RiskLevel.hpp"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// Something that the user wants to go.
struct DeletionTarget {
    KestrelCore::Text path;  ///< absolute
    /// What the user was shown there, to which the item is held; absent: what the newest saved scan has.
    std::optional<KestrelCore::FileRecord> seen{};
    std::optional<KestrelCore::Text> refusal{};  ///< why it stays, where that is known before anything is asked
    ExitCode code = ExitCode::done;              ///< of that refusal
};

/// Whether items of high risk may go, which is the user's to say. Those that are blocked never may.
enum class HighRisk { stays, goes };

/// What is to become of one target.
struct ProposedItem {
    KestrelCore::Text path;
    std::optional<KestrelCore::FileRecord> record;  ///< absent where nothing was found, or nothing looked for
    KestrelCore::RiskLevel risk = KestrelCore::RiskLevel::normal;
    std::optional<KestrelCore::Text> refusal;  ///< why it stays, as a finished sentence; absent: it would go
    ExitCode code = ExitCode::done;            ///< of the refusal: only the policy's count as such
    bool isHighRiskAlone = false;              ///< refused for its risk only, which `HighRisk::goes` lets pass
};

/// What would go and what would not. A value: the disk may have changed by the time that it is executed, where each
/// item is judged anew.
struct DeletionProposal {
    std::vector<ProposedItem> items;  ///< one for each target, in their order
    std::int64_t freedBytes = 0;      ///< what really comes free when all goes that would
    std::uint64_t unread = 0;         ///< items in what would go that could not be looked at; the bytes leave them out

    // What was looked at for it. Null where nothing was.
    std::shared_ptr<const DeletionRecords> saved{};
    std::shared_ptr<const KestrelCore::DeletionMeasurement> measured{};

    /// Of what would go.
    [[nodiscard]] std::vector<KestrelCore::FileRecord> records() const;
};

/// What became of a proposal.
struct DeletionOutcome {
    std::vector<KestrelCore::DeletionItemResult> results;  ///< of the items that were tried, in their order
    std::vector<KestrelCore::Text> gone;                   ///< paths of what is gone
    std::int64_t freedBytes = 0;                           ///< of what is gone
    bool isInterrupted = false;                            ///< not all was tried, or one was given up on the way
};

/// Says of an item that is about to go why it stays after all; empty: it goes. As `DeletionRequest::lastLook`.
using LastLook = std::function<std::optional<KestrelCore::Text>(const KestrelCore::FileRecord& record)>;

/// What a choice of items takes, as far as it could be looked at.
struct ChosenBytes {
    std::int64_t freed = 0;  ///< what really comes free when all of it goes
    std::uint64_t unread = 0;
};

/// Takes items away, in two steps between which the user is asked: what would go, then its going. Shows nothing and
/// asks nothing. The library's policy alone decides that an item may go; a proposal tells early what it would say.
///
/// Any thread, one at a time; blocks on the disk. Of the session, which must outlive it, only the options are read.
/// What throws does so with one finished sentence, before anything is touched.
class DeletionRun {
public:
    /// `remark` is told, on the calling thread, what speaks against using or changing the saved scans.
    DeletionRun(const Session& session, Remark remark);

    /// Looks at everything afresh. Empty when it was cancelled, and then as if it had not been asked.
    [[nodiscard]] std::optional<DeletionProposal> propose(const std::vector<DeletionTarget>& targets, HighRisk highRisk,
                                                          const KestrelCore::CancellationToken& cancellation);

    /// Lets go what would of a proposal, with receipts where it goes to the Trash, and takes what is gone out
    /// of the saved scans. For good it needs "DELETE" as what the user typed; else every item fails. `onResult` is told
    /// of each result on the calling thread, and keeps what is left by returning false. A cancellation also stops
    /// within an item: what was moved of it goes back.
    [[nodiscard]] DeletionOutcome execute(const DeletionProposal& proposal, KestrelCore::DeletionMode mode,
                                          const std::optional<KestrelCore::Text>& typedConfirmation,
                                          const KestrelCore::DeletionCoordinator::ResultObserver& onResult,
                                          const KestrelCore::CancellationToken& cancellation,
                                          const LastLook& lastLook = {});

    /// What a choice takes that is still being made. What the policy never lets go counts for nothing. Items that were
    /// looked at once are not looked at again until the next proposal or execution. Empty when it was cancelled; what
    /// was looked at until then is kept.
    [[nodiscard]] std::optional<ChosenBytes> chosenBytes(const std::vector<KestrelCore::Text>& paths,
                                                         const KestrelCore::CancellationToken& cancellation);

private:
    const Session& session_;
    Remark remark_;
    std::vector<KestrelCore::ProtectedPlace> ownPlaces_;
    std::shared_ptr<KestrelCore::DeletionMeasurement> measurement_;
};

/// What the program itself needs: the databases, the files that SQLite keeps beside them, and the receipts.
[[nodiscard]] std::vector<KestrelCore::ProtectedPlace> ownPlaces(const Session& session);

/// The message of one result, without the sentence about the space that all trashed items have in common: that is said
/// once.
[[nodiscard]] std::string withoutSpaceSentence(const KestrelCore::DeletionItemResult& result);

/// What the program's end tells of one result.
[[nodiscard]] ExitCode exitCode(const KestrelCore::DeletionItemResult& result);

}  // namespace KestrelCLI
