#include "commands/Commands.hpp"

#include "output/JSONOutput.hpp"

#include "KestrelCore/Scanning/FullDiskAccess.hpp"

// Only macOS has this permission. Elsewhere the answer is no, with a reason, and not an error: scripts that ask first
// and scan then should run everywhere.

namespace KestrelCLI {

void addAccessCommand(CLI::App& app, Session& session) {
    addCommand(app,
               {.name = "access",
                .operands = "",
                .description = "Tells whether full disk access is likely granted (a matter of macOS).",
                .examples = {"kestrel access", "kestrel access --json"}},
               [&session](const Operands&) {
                   const bool isGranted = KestrelCore::FullDiskAccess::isLikelyGranted();
                   if (session.options.json) {
                       JSONOutput json{session.out};
                       json.member("fullDiskAccess", isGranted);
                       json.finish();
                   } else if (isGranted) {
                       session.out << session.painted(Style::good, "Full disk access is likely granted.") << '\n';
                   } else {
                       session.out << "Full disk access is not granted, or this system has no such permission.\n";
                   }
                   return ExitCode::done;
               });
}

}  // namespace KestrelCLI
