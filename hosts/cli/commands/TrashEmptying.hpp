#pragma once

#include "output/Session.hpp"

#include <optional>
#include <string>

namespace KestrelCLI {

/// How `trash --empty` was called.
struct TrashEmptyingOptions {
    std::optional<std::string> olderThan{};     ///< an age or a date, as the user wrote it
    std::optional<std::string> confirmation{};  ///< --confirm
    bool isDryRun = false;
};

/// Shows what lies in the trashes of this user, asks for the word, and removes it for good. Receipts of what is gone
/// go, too. Throws `UsageError` for a wrong option and where nobody can be asked.
[[nodiscard]] ExitCode emptyTrash(const Session& session, const TrashEmptyingOptions& options);

}  // namespace KestrelCLI
