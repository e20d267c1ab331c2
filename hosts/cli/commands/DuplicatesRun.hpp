#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"
#include "KestrelCore/Reclaim/DuplicateOptions.hpp"
#include "KestrelCore/Snapshot/ScanSnapshot.hpp"

namespace KestrelCLI {

/// Runs a search to its end and shows how far it is. Throws `Interrupted` on Ctrl-C: the finder is then told to stop
/// and not waited for.
[[nodiscard]] KestrelCore::DuplicateReport searchWithProgress(const Session& session,
                                                              const KestrelCore::ScanSnapshot& snapshot,
                                                              const KestrelCore::Text& folder,
                                                              const KestrelCore::DuplicateOptions& options);

enum class Sharing { shown, done };

/// Lets the files of each group share the blocks of the kept one, or only shows what that would free; and says what
/// came of it.
[[nodiscard]] ExitCode shareBlocks(const Session& session, const KestrelCore::DuplicateReport& report, Sharing sharing);

}  // namespace KestrelCLI
