#include "commands/Commands.hpp"
#include "commands/Deletion.hpp"
#include "commands/OptionValue.hpp"
#include "output/ApplicationList.hpp"
#include "output/JSONOutput.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Applications/ApplicationInspector.hpp"
#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"

#include <fmt/core.h>

#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

// Bundles and desktop applications are one list to the user. Taking residues away is a deletion like any other: the
// same plan, the same rules, the same question; only the items come from the library's search and not from the command
// line.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Both kinds. Either search reads many folders, so Ctrl-C is looked for between them.
std::vector<ApplicationRecord> installedApplications() {
    std::vector<ApplicationRecord> applications = ApplicationInspector{}.installedApplications();
    Interruption::check();
    std::vector<ApplicationRecord> desktop = DesktopApplicationInspector{}.installedApplications();
    std::move(desktop.begin(), desktop.end(), std::back_inserter(applications));
    Interruption::check();
    return applications;
}

/// All applications as a table, or those that a name means with each of their residues.
ExitCode listApplications(const Session& session, const Operands& operands, ApplicationOrder order) {
    std::vector<ApplicationRecord> applications = installedApplications();
    const bool isEmpty = applications.empty();
    if (!operands.empty()) applications = applicationsNamed(operands.front(), applications);
    sortApplications(applications, order);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeApplications(json, applications);
        json.finish();
    } else if (isEmpty) {
        session.out << "No applications were found.\n";
    } else if (!applications.empty()) {
        operands.empty() ? showApplications(session, applications) : showResidues(session, applications);
    }
    // A machine without applications is no failure, but a name that none has is one.
    if (!applications.empty() || operands.empty()) return ExitCode::done;
    if (!isEmpty) session.say(fmt::format("No application is called “{}”.", operands.front()));
    return isEmpty ? ExitCode::done : ExitCode::failed;
}

/// The one application that is meant, or a usage error that names the others.
ApplicationRecord theApplication(const std::string& name, const std::vector<ApplicationRecord>& applications) {
    std::vector<ApplicationRecord> found = applicationsNamed(name, applications);
    if (found.size() == 1) return std::move(found.front());
    if (found.empty()) throw std::runtime_error{fmt::format("No application is called “{}”.", name)};
    std::string message = fmt::format("“{}” means {} applications; name one of them:", name, found.size());
    for (const ApplicationRecord& application : found) {
        const Text& identifier = application.bundleIdentifier ? *application.bundleIdentifier : application.displayName;
        message += fmt::format(" “{}”", identifier.view());
    }
    throw UsageError{message};
}

/// Moves the residues chosen by default of one application to the Trash, and shows what is left of them.
ExitCode trashResidues(Session& session, const std::string& name, DeletionOptions options) {
    // One application exactly: what is chosen by a part of a name might belong to another than the one that is meant.
    const ApplicationRecord application = theApplication(name, installedApplications());
    Operands paths;
    for (const ResidueCandidate& residue : application.residues) {
        if (residue.selectedByDefault()) paths.push_back(residue.url.path().string());
    }
    if (paths.empty() && !session.options.json) {
        session.out << session.shown(application.displayName.view())
                    << " left nothing behind that is chosen by default.\n";
        return ExitCode::done;
    }
    options.afterwards = [&](JSONOutput* json, const std::vector<Text>& gone) {
        // From the list in hand, without another search: what is gone is known.
        const std::vector<ApplicationRecord> left =
            ApplicationInspector::pruning({application}, {gone.begin(), gone.end()});
        if (json != nullptr) {
            writeApplications(*json, left);
        } else if (!gone.empty()) {
            session.out << '\n';
            showResidues(session, left);
        }
    };
    return runDeletion(session, paths, options);
}

}  // namespace

void addAppsCommand(CLI::App& app, Session& session) {
    struct Options {
        ApplicationOrder order = ApplicationOrder::size;
        bool trashesResidues = false;
        bool isConfirmed = false;
        bool isDryRun = false;
    };
    auto options = std::make_shared<Options>();
    CLI::App& command = addCommand(
        app,
        {.name = "apps",
         .operands = "[NAME]",
         .description = "Shows installed applications and what they left behind.",
         .examples = {"kestrel apps --sort name", "kestrel apps Firefox", "kestrel apps Firefox --trash-residues"},
         .mostOperands = 1},
        [&session, options](const Operands& operands) {
            if (!options->trashesResidues) {
                if (options->isConfirmed || options->isDryRun)
                    throw UsageError{"--yes and --dry-run go with --trash-residues only."};
                return listApplications(session, operands, options->order);
            }
            if (operands.empty()) throw UsageError{"--trash-residues needs the name of an application."};
            // Residues lie in places that are rated as high risk; asking for them is enough.
            return trashResidues(
                session, operands.front(),
                {.isDryRun = options->isDryRun, .includesHighRisk = true, .isConfirmed = options->isConfirmed});
        });
    const std::map<std::string, ApplicationOrder> orders{{"size", ApplicationOrder::size},
                                                         {"name", ApplicationOrder::name}};
    command.add_option("--sort", options->order, "Order: size (of what was left behind, the default) or name")
        ->transform(oneOf(orders))
        ->option_text("ORDER");
    command.add_flag("--trash-residues", options->trashesResidues,
                     "Move what NAME left behind to the Trash: the residues chosen by default");
    command.add_flag("--yes", options->isConfirmed, "Do not ask");
    command.add_flag("--dry-run", options->isDryRun, "Only show what would go");
}

}  // namespace KestrelCLI
