#pragma once

#include "output/JSONOutput.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Applications/ApplicationOrphan.hpp"
#include "KestrelCore/Applications/ApplicationRecord.hpp"

#include <optional>
#include <string_view>
#include <vector>

namespace KestrelCLI {

enum class ApplicationOrder { size, name };

/// The applications that a person means by `name`: those whose name or identifier is that text, in any case; when there
/// are none, those whose name holds it.
[[nodiscard]] std::vector<KestrelCore::ApplicationRecord>
applicationsNamed(std::string_view name, const std::vector<KestrelCore::ApplicationRecord>& applications);

/// By the size of what they left behind, largest first, or by name; equal ones keep the order of their names.
void sortApplications(std::vector<KestrelCore::ApplicationRecord>& applications, ApplicationOrder order);

/// One line an application, and a sum.
void showApplications(const Session& session, const std::vector<KestrelCore::ApplicationRecord>& applications);

/// For each of some applications the command that takes it away, as `ApplicationRemoval` gives them; empty when nobody
/// asked for them.
using RemovalCommands = std::vector<std::optional<KestrelCore::Text>>;

/// Each application with how it is removed, its residues, why they match, and which of them would be chosen.
void showResidues(const Session& session, const std::vector<KestrelCore::ApplicationRecord>& applications,
                  const RemovalCommands& removals = {});

/// The member "applications".
void writeApplications(JSONOutput& json, const std::vector<KestrelCore::ApplicationRecord>& applications,
                       const RemovalCommands& removals = {});

/// The orphans whose identifier holds `name`, in any case.
[[nodiscard]] std::vector<KestrelCore::ApplicationOrphan>
orphansNamed(std::string_view name, const std::vector<KestrelCore::ApplicationOrphan>& orphans);

/// As `sortApplications`, by size or by identifier.
void sortOrphans(std::vector<KestrelCore::ApplicationOrphan>& orphans, ApplicationOrder order);

/// Each item with the reason why it is taken for an orphan, and a sum.
void showOrphans(const Session& session, const std::vector<KestrelCore::ApplicationOrphan>& orphans);

/// The member "orphans".
void writeOrphans(JSONOutput& json, const std::vector<KestrelCore::ApplicationOrphan>& orphans);

}  // namespace KestrelCLI
