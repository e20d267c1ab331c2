#include "commands/Commands.hpp"

#include "output/JSONOutput.hpp"
#include "output/Paragraph.hpp"

#include "KestrelCore/Scanning/FullDiskAccess.hpp"

// Where there is no such permission the answer is no, with a reason, and not an error: scripts that ask first and scan
// then should run everywhere. The command is not among those that help shows there.

namespace KestrelCLI {

void addAccessCommand(CLI::App& app, Session& session) {
    const CommandOptions command = addCommand(
        app,
        {.name = "access",
         .operands = "",
         .description = "Tells whether this program is likely allowed to read the whole disk.",
         .examples = {"kestrel access", "kestrel access --json"}},
        [&session](const Operands&) {
            const bool isGranted = KestrelCore::FullDiskAccess::isLikelyGranted();
            if (session.options.json) {
                JSONOutput json{session.out};
                json.member("fullDiskAccess", isGranted);
                json.finish();
            } else if (!KestrelCore::FullDiskAccess::existsHere()) {
                writeParagraph(session, "This system has no permission for the whole disk: the owner of each folder, "
                                        "or root, decides who may read it.");
            } else if (isGranted) {
                session.out << session.painted(Style::good, "Full disk access is likely granted.") << '\n';
            } else {
                session.out << "Full disk access is not granted.\n";
            }
            return ExitCode::done;
        });
    if (!KestrelCore::FullDiskAccess::existsHere()) command.hide();
}

}  // namespace KestrelCLI
