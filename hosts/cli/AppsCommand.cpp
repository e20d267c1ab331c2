#include "ApplicationList.hpp"
#include "Commands.hpp"
#include "JSONOutput.hpp"

#include "KestrelCore/Applications/ApplicationInspector.hpp"
#include "KestrelCore/Applications/DesktopApplicationInspector.hpp"

#include <fmt/core.h>

#include <iterator>
#include <map>
#include <memory>
#include <string>

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::vector<ApplicationRecord> installedApplications() {
    std::vector<ApplicationRecord> applications = ApplicationInspector{}.installedApplications();
    std::vector<ApplicationRecord> desktop = DesktopApplicationInspector{}.installedApplications();
    std::move(desktop.begin(), desktop.end(), std::back_inserter(applications));
    return applications;
}

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
        session.out << "No applications were found, neither bundles nor desktop entries.\n";
    } else if (!applications.empty()) {
        operands.empty() ? showApplications(session, applications) : showResidues(session, applications);
    }
    if (!applications.empty() || operands.empty()) return ExitCode::done;
    if (!isEmpty) session.say(fmt::format("No application is called “{}”.", operands.front()));
    return isEmpty ? ExitCode::done : ExitCode::failed;
}

}  // namespace

void addAppsCommand(CLI::App& app, Session& session) {
    auto order = std::make_shared<ApplicationOrder>(ApplicationOrder::size);
    CLI::App& command =
        addCommand(app,
                   {.name = "apps",
                    .operands = "[NAME]",
                    .description = "Shows installed applications and what they left behind.",
                    .examples = {"kestrel apps --sort name", "kestrel apps Firefox"},
                    .mostOperands = 1},
                   [&session, order](const Operands& operands) { return listApplications(session, operands, *order); });
    const std::map<std::string, ApplicationOrder> orders{{"size", ApplicationOrder::size},
                                                         {"name", ApplicationOrder::name}};
    command.add_option("--sort", *order, "Order: size (of what was left behind, the default) or name")
        ->transform(CLI::Transformer(orders))
        ->option_text("ORDER");
}

}  // namespace KestrelCLI
