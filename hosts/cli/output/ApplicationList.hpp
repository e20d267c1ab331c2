#pragma once

#include "output/JSONOutput.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Applications/ApplicationRecord.hpp"

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

/// Each application with its residues, why they match, and which of them would be chosen.
void showResidues(const Session& session, const std::vector<KestrelCore::ApplicationRecord>& applications);

/// The member "applications".
void writeApplications(JSONOutput& json, const std::vector<KestrelCore::ApplicationRecord>& applications);

}  // namespace KestrelCLI
