#include "commands/Commands.hpp"
#include "commands/Deletion.hpp"
#include "commands/OptionValue.hpp"
#include "output/ApplicationList.hpp"
#include "output/JSONOutput.hpp"
#include "output/NearNames.hpp"
#include "output/Paragraph.hpp"
#include "terminal/Interruption.hpp"

#include "KestrelCore/Applications/ApplicationInspector.hpp"
#include "KestrelCore/Applications/ApplicationRemoval.hpp"
#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"
#include "KestrelCore/Platform/DesktopLocations.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

// Bundles and desktop applications are one list to the user. Taking residues away is a deletion like any other: the
// same plan, the same rules, the same question; only the items come from the library's search and not from the command
// line.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

/// Both kinds, where the system has both. Either search reads many folders, so Ctrl-C is looked for between them.
std::vector<ApplicationRecord> installedApplications() {
    std::vector<ApplicationRecord> applications = ApplicationInspector{}.installedApplications();
    Interruption::check();
    if (!DesktopLocations::existHere()) return applications;
    std::vector<ApplicationRecord> desktop = DesktopApplicationInspector{}.installedApplications();
    std::move(desktop.begin(), desktop.end(), std::back_inserter(applications));
    Interruption::check();
    return applications;
}

/// Of both kinds, as above.
std::vector<ApplicationOrphan> allOrphans() {
    std::vector<ApplicationOrphan> orphans = ApplicationInspector{}.orphans();
    Interruption::check();
    if (!DesktopLocations::existHere()) return orphans;
    std::vector<ApplicationOrphan> desktop = DesktopApplicationInspector{}.orphans();
    std::ranges::move(desktop, std::back_inserter(orphans));
    Interruption::check();
    return orphans;
}

/// That there is no such application, and which ones may have been meant.
std::string noSuchApplication(const std::string& name, const std::vector<ApplicationRecord>& applications) {
    std::vector<std::string> names;
    for (const ApplicationRecord& application : applications) names.push_back(application.displayName.string());
    for (const ApplicationRecord& application : applications) {
        // Where the name says it already, the identifier would say it twice.
        if (application.bundleIdentifier && nearNames(name, {application.displayName.string()}).empty())
            names.push_back(application.bundleIdentifier->string());
    }
    const std::string question = didYouMean(nearNames(name, names));
    return fmt::format("No application is called “{}”.{}{}", name, question.empty() ? "" : " ", question);
}

/// All applications as a table, or those that a name means with each of their residues.
ExitCode listApplications(const Session& session, const Operands& operands, ApplicationOrder order) {
    const std::vector<ApplicationRecord> installed = installedApplications();
    std::vector<ApplicationRecord> applications =
        operands.empty() ? installed : applicationsNamed(operands.front(), installed);
    // A machine without applications is no failure, but a name that none has is one.
    if (applications.empty() && !installed.empty()) {
        std::string message = noSuchApplication(operands.front(), installed);
        // Who removed an application asks for it by its name.
        if (!orphansNamed(operands.front(), allOrphans()).empty()) {
            message +=
                " One of that name is not installed, but has left something behind: kestrel apps --orphans shows "
                "it.";
        }
        throw std::runtime_error{message};
    }
    sortApplications(applications, order);
    // Only of those that somebody asks for: telling reads every list that the package manager keeps.
    const RemovalCommands removals = operands.empty() ? RemovalCommands{} : ApplicationRemoval::commands(applications);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeApplications(json, applications, removals);
        json.finish();
    } else if (installed.empty()) {
        session.out << "No applications were found.\n";
    } else if (!applications.empty()) {
        operands.empty() ? showApplications(session, applications) : showResidues(session, applications, removals);
    }
    return ExitCode::done;
}

ExitCode listOrphans(const Session& session, const Operands& operands, ApplicationOrder order) {
    std::vector<ApplicationOrphan> orphans = allOrphans();
    if (!operands.empty()) orphans = orphansNamed(operands.front(), orphans);
    sortOrphans(orphans, order);
    if (session.options.json) {
        JSONOutput json{session.out};
        writeOrphans(json, orphans);
        json.finish();
    } else if (orphans.empty()) {
        writeParagraph(session, operands.empty()
                                    ? "Nothing was left behind by applications that are not installed."
                                    : "Nothing of that name was left behind by an application that is not installed.");
    } else {
        showOrphans(session, orphans);
    }
    return ExitCode::done;
}

/// The one application that is meant, or a usage error that names the others.
ApplicationRecord theApplication(const std::string& name, const std::vector<ApplicationRecord>& applications) {
    std::vector<ApplicationRecord> found = applicationsNamed(name, applications);
    if (found.size() == 1) return std::move(found.front());
    if (found.empty()) throw std::runtime_error{noSuchApplication(name, applications)};
    std::string message = fmt::format("“{}” means {} applications; name one of them:", name, found.size());
    for (const ApplicationRecord& application : found) {
        const Text& identifier = application.bundleIdentifier ? *application.bundleIdentifier : application.displayName;
        message += fmt::format(" “{}”", identifier.view());
    }
    throw UsageError{message};
}

/// The paths of the residues that are chosen by default, and those that are chosen by name. Only what is in the list
/// can be named: this is no other way to trash anything.
Operands chosenPaths(const Session& session, const std::vector<ResidueCandidate>& residues,
                     const std::vector<std::string>& named, const std::string& whose) {
    Operands paths;
    for (const ResidueCandidate& residue : residues) {
        if (residue.selectedByDefault()) paths.push_back(residue.url.path().string());
    }
    for (const std::string& name : named) {
        // As the list shows it: a shell does not expand "~" within --residue=~/PATH.
        const bool isInHome = name.starts_with("~/") && !session.home.empty();
        std::filesystem::path wanted =
            std::filesystem::absolute(isInHome ? session.home + name.substr(1) : name).lexically_normal();
        if (!wanted.has_filename()) wanted = wanted.parent_path();
        const bool isListed = std::ranges::any_of(residues, [&wanted](const ResidueCandidate& residue) {
            return residue.url.path().view() == wanted.native();
        });
        if (!isListed) throw UsageError{fmt::format("“{}” is none of what {} left behind.", name, whose)};
        if (std::ranges::find(paths, wanted.native()) == paths.end()) paths.push_back(wanted.native());
    }
    return paths;
}

/// Why the plan shows other sizes than the list, where it does: what comes free is more than the files.
std::string sizeRemark(const Operands& paths) {
    const bool hasFolder = std::ranges::any_of(paths, [](const std::string& path) {
        std::error_code error;
        return std::filesystem::is_directory(std::filesystem::symlink_status(path, error));
    });
    return hasFolder ? "The folders themselves count here, too; the list of kestrel apps counts the files in them."
                     : "";
}

/// Moves the residues chosen of one application to the Trash, and shows what is left of them.
ExitCode trashResidues(Session& session, const std::string& name, const std::vector<std::string>& named,
                       DeletionOptions options) {
    // One application exactly: what is chosen by a part of a name might belong to another than the one that is meant.
    const ApplicationRecord application = theApplication(name, installedApplications());
    const Operands paths = chosenPaths(session, application.residues, named, application.displayName.string());
    if (paths.empty() && !session.options.json) {
        session.out << session.shown(application.displayName.view())
                    << " left nothing behind that is chosen by default."
                    << (application.residues.empty() ? "\n" : " --residue PATH chooses one.\n");
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
    options.remark = sizeRemark(paths);
    return runDeletion(session, paths, options);
}

/// Moves the orphans chosen by name to the Trash.
ExitCode trashOrphans(Session& session, const std::vector<std::string>& named, DeletionOptions options) {
    if (named.empty()) {
        throw UsageError{"No orphan is chosen by itself: --residue PATH chooses one, and kestrel apps --orphans lists "
                         "them."};
    }
    std::vector<ApplicationOrphan> orphans = allOrphans();
    std::vector<ResidueCandidate> residues;
    for (const ApplicationOrphan& orphan : orphans) std::ranges::copy(orphan.residues, std::back_inserter(residues));
    const Operands paths = chosenPaths(session, residues, named, "an application that is not installed");
    options.afterwards = [&orphans](JSONOutput* json, const std::vector<Text>& gone) {
        if (json == nullptr) return;
        for (ApplicationOrphan& orphan : orphans) {
            std::erase_if(orphan.residues, [&gone](const ResidueCandidate& residue) {
                return std::ranges::find(gone, residue.url.path()) != gone.end();
            });
        }
        std::erase_if(orphans, [](const ApplicationOrphan& orphan) { return orphan.residues.empty(); });
        writeOrphans(*json, orphans);
    };
    options.remark = sizeRemark(paths);
    return runDeletion(session, paths, options);
}

}  // namespace

void addAppsCommand(CLI::App& app, Session& session) {
    struct Options {
        ApplicationOrder order = ApplicationOrder::size;
        bool showsOrphans = false;
        bool trashesResidues = false;
        std::vector<std::string> residues;
        bool isConfirmed = false;
        bool isDryRun = false;
    };
    auto options = std::make_shared<Options>();
    const CommandOptions command =
        addCommand(app,
                   {.name = "apps",
                    .operands = "[NAME]",
                    .description = "Shows installed applications and what they left behind.",
                    .examples = {"kestrel apps --sort name", "kestrel apps Firefox",
                                 "kestrel apps Firefox --trash-residues", "kestrel apps --orphans"},
                    .mostOperands = 1,
                    .operandKind = ValueKind::application},
                   [&session, options](const Operands& operands) {
                       if (!options->trashesResidues) {
                           if (options->isConfirmed || options->isDryRun || !options->residues.empty())
                               throw UsageError{"--residue, --yes and --dry-run go with --trash-residues only."};
                           return options->showsOrphans ? listOrphans(session, operands, options->order)
                                                        : listApplications(session, operands, options->order);
                       }
                       // Residues lie in places that are rated as high risk; asking for them is enough.
                       const DeletionOptions deletion{.isDryRun = options->isDryRun,
                                                      .includesHighRisk = true,
                                                      .isConfirmed = options->isConfirmed};
                       if (options->showsOrphans) {
                           if (!operands.empty())
                               throw UsageError{"--orphans with --trash-residues goes by --residue PATH alone."};
                           return trashOrphans(session, options->residues, deletion);
                       }
                       if (operands.empty()) throw UsageError{"--trash-residues needs the name of an application."};
                       return trashResidues(session, operands.front(), options->residues, deletion);
                   });
    const std::map<std::string, ApplicationOrder> orders{{"size", ApplicationOrder::size},
                                                         {"name", ApplicationOrder::name}};
    command.choice("--sort", options->order, orders, "Order: size (of what was left behind, the default) or name")
        .valueName("ORDER");
    command.flag("--orphans", options->showsOrphans,
                 "Show what applications left behind that are not installed any more");
    command.flag("--trash-residues", options->trashesResidues,
                 "Move what NAME left behind to the Trash: the residues chosen by default");
    command
        .value("--residue", options->residues, "With --trash-residues: choose this one too; may be given several times")
        .oneEachTime()
        .valueName("PATH")
        .check(takes(ValueKind::file));
    command.flag("-y,--yes", options->isConfirmed, "Do not ask");
    command.flag("--dry-run", options->isDryRun, "Only show what would go");
}

}  // namespace KestrelCLI
