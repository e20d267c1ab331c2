#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Storage/Generation.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// What went wrong, as programs read it.
struct ErrorReport {
    std::string_view
        code;  ///< a word that stays: "failed", "wrongUsage", "interrupted", or what KestrelError tells apart
    std::string message;                   ///< one sentence, as people get it
    std::optional<std::string> path = {};  ///< of the item that it is about, where it is about one
    /// Of a scan that was stopped: what was found and is kept. Beside the error as "snapshot".
    std::optional<KestrelCore::Generation> kept = {};
};

/// Tells people on standard error, and with --json programs on standard output:
/// {"schema": 1, "error": {"code": …, "message": …, "path": …}}.
void tellError(const Session& session, const ErrorReport& report);

}  // namespace KestrelCLI
