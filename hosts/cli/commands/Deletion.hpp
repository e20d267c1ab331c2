#pragma once

#include "commands/Command.hpp"
#include "output/JSONOutput.hpp"
#include "output/Session.hpp"
#include "store/DeletionRun.hpp"

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Deletion/DeletionCoordinator.hpp"
#include "KestrelCore/Model/FileRecord.hpp"

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace KestrelCLI {

/// How `trash` and `remove` were called.
struct DeletionOptions {
    KestrelCore::DeletionMode mode = KestrelCore::DeletionMode::trash;
    bool isDryRun = false;
    bool includesHighRisk = false;
    bool isConfirmed = false;                   ///< --yes, for the Trash
    std::optional<std::string> confirmation{};  ///< --confirm, for a permanent removal
    /// Said below the plan where something would go, and not with --json; may be empty.
    std::string remark{};
    /// Shows the plan instead of a table with one row an item; may be empty.
    std::function<void(std::ostream& out, const DeletionProposal& proposal)> planOutput{};
    /// Has the last word about each item, and a token that Ctrl-C cancels; may be empty.
    std::function<std::optional<KestrelCore::Text>(const KestrelCore::FileRecord& record,
                                                   const KestrelCore::CancellationToken& cancellation)>
        lastLook{};
    /// What else there is to say at the end: into the open JSON object, or, where that
    /// is null, as text. Gets the paths of what is gone. May be empty.
    std::function<void(JSONOutput* json, const std::vector<KestrelCore::Text>& gone)> afterwards{};
};

/// Shows what would go and what would not, asks, lets the library do it, and shows each result. The paths are the
/// saved scans' where they have them; what is gone is taken out of those.
[[nodiscard]] ExitCode runDeletion(Session& session, const Operands& paths, const DeletionOptions& options);
/// The same of what was chosen in another way.
[[nodiscard]] ExitCode runDeletion(Session& session, const std::vector<DeletionTarget>& targets,
                                   const DeletionOptions& options);

/// Throws `UsageError` for a --confirm with another word than the one that a permanent removal needs, so that nothing
/// is looked at for its sake.
void checkConfirmation(const std::optional<std::string>& confirmation);

/// How `restore` is called for what went to the Trash in this run, with a blank at the end: options follow.
[[nodiscard]] std::string restoreCall(const Session& session);

}  // namespace KestrelCLI
