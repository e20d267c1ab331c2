#include "output/ApplicationList.hpp"

#include "output/ByteFormat.hpp"
#include "output/Paragraph.hpp"
#include "output/Table.hpp"

#include "KestrelCore/Base/NaturalOrder.hpp"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <string>

// Applications in three forms: all in a table, some with each residue and its reason, and as JSON. Sizes are those of
// what was left behind, never of the application itself, which is what a user would remove in the first place.

using namespace KestrelCore;

namespace KestrelCLI {

namespace {

std::string versionOf(const ApplicationRecord& application) {
    return application.version ? application.version->string() : std::string{};
}

std::string countOf(std::size_t number, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", ByteFormat::count(static_cast<std::int64_t>(number)), number == 1 ? one : many);
}

}  // namespace

std::vector<ApplicationRecord> applicationsNamed(std::string_view name,
                                                 const std::vector<ApplicationRecord>& applications) {
    // Folded: who types a name does not care about case. The identifier counts as a name, since it tells twins apart.
    const Text wanted = Text{name}.folded();
    std::vector<ApplicationRecord> found;
    std::copy_if(applications.begin(), applications.end(), std::back_inserter(found),
                 [&wanted](const ApplicationRecord& application) {
                     return application.displayName.folded() == wanted ||
                            (application.bundleIdentifier && application.bundleIdentifier->folded() == wanted);
                 });
    if (!found.empty()) return found;
    // Only then parts of names: who asks for "Mail" while there is one does not mean "Mailbox" as well.
    std::copy_if(
        applications.begin(), applications.end(), std::back_inserter(found),
        [&wanted](const ApplicationRecord& application) { return application.displayName.folded().contains(wanted); });
    return found;
}

void sortApplications(std::vector<ApplicationRecord>& applications, ApplicationOrder order) {
    // Stable, so that applications of one name keep the order of their folders, as the library gives it.
    std::stable_sort(applications.begin(), applications.end(),
                     [order](const ApplicationRecord& a, const ApplicationRecord& b) {
                         if (order == ApplicationOrder::size && a.estimatedBytes() != b.estimatedBytes())
                             return a.estimatedBytes() > b.estimatedBytes();
                         return NaturalOrder::compareInList(a.displayName, b.displayName) < 0;
                     });
}

void showApplications(const Session& session, const std::vector<ApplicationRecord>& applications) {
    Table table{{{.title = "LEFT BEHIND", .align = Table::Align::right},
                 {.title = "APPLICATION", .shrinks = true},
                 {.title = "VERSION"},
                 {.title = "IDENTIFIER", .shrinks = true}}};
    std::int64_t bytes = 0;
    std::size_t residues = 0;
    for (const ApplicationRecord& application : applications) {
        const std::int64_t estimate = application.estimatedBytes();
        bytes += estimate;
        residues += application.residues.size();
        const std::string identifier =
            application.bundleIdentifier ? application.bundleIdentifier->string() : std::string{};
        // No residue is not the same as residues that are empty: only those have a size to show.
        table.addRow({{application.residues.empty() ? std::string{} : session.size(estimate)},
                      {session.shown(application.displayName.view())},
                      {session.shown(versionOf(application)), Style::quiet},
                      {session.shown(identifier), Style::quiet}});
    }
    table.write(session);
    session.out << '\n'
                << countOf(applications.size(), "application", "applications") << ", "
                << countOf(residues, "residue", "residues") << ", " << session.size(bytes) << '\n';
}

namespace {

/// A path as a shell takes it for one word.
std::string quoted(std::string_view path) {
    std::string text = "'";
    for (const char c : path) {
        if (c == '\'') {
            text += "'\\''";
        } else {
            text += c;
        }
    }
    return text + "'";
}

/// Says how the application itself goes. A command stays on one line, to be copied.
void showRemoval(const Session& session, const ApplicationRecord& application, const std::optional<Text>& command) {
    const std::string_view path = application.url.path().view();
    if (command) {
        session.out << "Removed by: " << session.shown(command->view()) << '\n';
    } else if (!path.ends_with(".desktop")) {
        session.out << "Removed by: kestrel trash " << session.shown(quoted(path)) << '\n';
    } else {
        writeParagraph(session, "No package that is known here owns its entry: it was installed by hand, or by a "
                                "program of its own.");
    }
}

}  // namespace

void showResidues(const Session& session, const std::vector<ApplicationRecord>& applications,
                  const RemovalCommands& removals) {
    for (std::size_t i = 0; i < applications.size(); ++i) {
        const ApplicationRecord& application = applications[i];
        if (i > 0) session.out << '\n';
        // Names, versions and evidence come from files of the application's own, and may hold anything.
        const std::string version = versionOf(application);
        session.out << session.painted(Style::heading, session.shown(application.displayName.view()))
                    << (version.empty() ? "" : " ") << session.shown(version) << '\n'
                    << session.shownPath(application.url.path().view()) << '\n';
        if (i < removals.size()) showRemoval(session, application, removals[i]);
        if (application.residues.empty()) {
            session.out << "Nothing was left behind.\n";
            continue;
        }
        Table table{{{.title = "SIZE", .align = Table::Align::right},
                     {.title = "RESIDUE", .shrinks = true},
                     {.title = "CHOSEN"},
                     {.title = "WHY", .shrinks = true}}};
        for (const ResidueCandidate& residue : application.residues) {
            table.addRow({{session.size(residue.allocatedBytes)},
                          {session.shownPath(residue.url.path().view())},
                          {residue.selectedByDefault() ? "yes" : "no",
                           residue.selectedByDefault() ? Style::plain : Style::quiet},
                          {session.shown(residue.evidence.view()), Style::quiet}});
        }
        table.write(session);
    }
}

namespace {

void writeResidues(JSONOutput& json, const std::vector<ResidueCandidate>& residues) {
    json.beginArray("residues");
    for (const ResidueCandidate& residue : residues) {
        json.beginObject();
        json.member("path", residue.url.path().view());
        json.member("allocatedBytes", residue.allocatedBytes);
        json.member("confidence", rawValue(residue.confidence));
        json.member("evidence", residue.evidence.view());
        json.member("selectedByDefault", residue.selectedByDefault());
        json.endObject();
    }
    json.endArray();
}

}  // namespace

void writeApplications(JSONOutput& json, const std::vector<ApplicationRecord>& applications,
                       const RemovalCommands& removals) {
    json.beginArray("applications");
    for (std::size_t i = 0; i < applications.size(); ++i) {
        const ApplicationRecord& application = applications[i];
        json.beginObject();
        json.member("name", application.displayName.view());
        if (application.bundleIdentifier) json.member("identifier", application.bundleIdentifier->view());
        if (application.version) json.member("version", application.version->view());
        json.member("path", application.url.path().view());
        if (i < removals.size() && removals[i]) json.member("removalCommand", removals[i]->view());
        json.member("estimatedBytes", application.estimatedBytes());
        writeResidues(json, application.residues);
        json.endObject();
    }
    json.endArray();
}

std::vector<ApplicationOrphan> orphansNamed(std::string_view name, const std::vector<ApplicationOrphan>& orphans) {
    const Text wanted = Text{name}.folded();
    std::vector<ApplicationOrphan> found;
    std::ranges::copy_if(orphans, std::back_inserter(found), [&wanted](const ApplicationOrphan& orphan) {
        return orphan.identifier.folded().contains(wanted);
    });
    return found;
}

void sortOrphans(std::vector<ApplicationOrphan>& orphans, ApplicationOrder order) {
    std::ranges::stable_sort(orphans, [order](const ApplicationOrphan& a, const ApplicationOrphan& b) {
        if (order == ApplicationOrder::size && a.estimatedBytes() != b.estimatedBytes())
            return a.estimatedBytes() > b.estimatedBytes();
        return NaturalOrder::compareInList(a.identifier, b.identifier) < 0;
    });
}

void showOrphans(const Session& session, const std::vector<ApplicationOrphan>& orphans) {
    Table table{{{.title = "SIZE", .align = Table::Align::right},
                 {.title = "LEFT BEHIND", .shrinks = true},
                 {.title = "WHY", .shrinks = true}}};
    std::int64_t bytes = 0;
    std::size_t residues = 0;
    for (const ApplicationOrphan& orphan : orphans) {
        bytes += orphan.estimatedBytes();
        residues += orphan.residues.size();
        for (const ResidueCandidate& residue : orphan.residues) {
            table.addRow({{session.size(residue.allocatedBytes)},
                          {session.shownPath(residue.url.path().view())},
                          {session.shown(residue.evidence.view()), Style::quiet}});
        }
    }
    table.write(session);
    session.out << '\n';
    writeParagraph(session,
                   fmt::format("{} of {} not installed, {}. None is chosen by itself, since an application may "
                               "lie where no list leads.",
                               countOf(residues, "item", "items"),
                               countOf(orphans.size(), "application that is", "applications that are"),
                               session.size(bytes)));
    session.out << "\nTo move one to the Trash:\n  kestrel apps --orphans --trash-residues --residue PATH\n";
}

void writeOrphans(JSONOutput& json, const std::vector<ApplicationOrphan>& orphans) {
    json.beginArray("orphans");
    for (const ApplicationOrphan& orphan : orphans) {
        json.beginObject();
        json.member("identifier", orphan.identifier.view());
        json.member("estimatedBytes", orphan.estimatedBytes());
        writeResidues(json, orphan.residues);
        json.endObject();
    }
    json.endArray();
}

}  // namespace KestrelCLI
