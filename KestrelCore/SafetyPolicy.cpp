#include "KestrelCore/SafetyPolicy.hpp"

#include "KestrelCore/SafetyRules.hpp"

#include <string>
#include <string_view>

namespace KestrelCore {

const SafetyRules& SafetyPolicy::rules() {
    static const SafetyRules rules = SafetyRules::ofThisProcess();
    return rules;
}

Text SafetyPolicy::canonicalPath(const URL& url) {
    const Text path = url.standardized().path();
    const std::string_view given = path.view();
    if (given.find("//") == std::string_view::npos) return path;
    std::string single;
    for (std::size_t at = 0; at < given.size(); ++at) {
        single += given[at];
        if (given.substr(at).starts_with("//")) ++at;
    }
    return single;
}

std::optional<Text> SafetyPolicy::blockedReason(const URL& url) { return rules().blockedReason(url); }

RiskLevel SafetyPolicy::risk(const URL& url) { return rules().risk(url); }

void SafetyPolicy::validate(const FileRecord& record) { rules().validate(record); }

}  // namespace KestrelCore
