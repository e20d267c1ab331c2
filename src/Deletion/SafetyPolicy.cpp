#include "KestrelCore/Deletion/SafetyPolicy.hpp"

#include "Deletion/SafetyRules.hpp"

namespace KestrelCore {

const SafetyRules& SafetyPolicy::rules() {
    static const SafetyRules rules = SafetyRules::ofThisProcess();
    return rules;
}

Text SafetyPolicy::canonicalPath(const URL& url) { return SafetyRules::canonicalPath(url); }

std::optional<Text> SafetyPolicy::blockedReason(const URL& url) { return rules().blockedReason(url); }

RiskLevel SafetyPolicy::risk(const URL& url) { return rules().risk(url); }

void SafetyPolicy::validate(const FileRecord& record) { rules().validate(record); }

}  // namespace KestrelCore
