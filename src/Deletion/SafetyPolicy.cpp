#include "KestrelCore/Deletion/SafetyPolicy.hpp"

#include "Deletion/SafetyRules.hpp"

namespace KestrelCore {

Text SafetyPolicy::canonicalPath(const URL& url) { return SafetyRules::canonicalPath(url); }

std::optional<Text> SafetyPolicy::blockedReason(const URL& url) {
    return SafetyRules::ofThisProcess().blockedReason(url);
}

RiskLevel SafetyPolicy::risk(const URL& url) { return SafetyRules::ofThisProcess().risk(url); }

void SafetyPolicy::validate(const FileRecord& record) { SafetyRules::ofThisProcess().validate(record); }

}  // namespace KestrelCore
