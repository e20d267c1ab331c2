#include "store/NamedItem.hpp"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <system_error>
#include <vector>

namespace KestrelCLI {

using KestrelCore::Text;

NamedItem namedItem(const std::string& operand) {
    namespace fs = std::filesystem;
    const auto refused = [&operand](const char* reason, ExitCode code) { return NamedItem{operand, reason, code}; };
    if (operand.empty() || operand.find('\0') != std::string::npos)
        return refused("The path is empty or holds a NUL.", ExitCode::failed);
    std::error_code error;
    std::string resolved;
    if (!operand.starts_with('/')) {
        resolved = fs::current_path(error).string();
        if (error || !resolved.starts_with('/'))
            return refused("The current folder no longer exists.", ExitCode::failed);
    }
    // Components, without "." and empty ones. A "." at the end is refused rather than dropped: what it
    // stands for is to be named itself.
    // What is before the last ".." is the system's to resolve; what comes after it stays as it was typed.
    std::vector<std::string> after;
    for (std::size_t begin = 0; begin < operand.size();) {
        const std::size_t end = std::min(operand.find('/', begin), operand.size());
        const std::string component = operand.substr(begin, end - begin);
        begin = end + 1;
        if (component != ".") {
            if (!component.empty()) after.push_back(component);
        } else if (operand.find_first_not_of('/', begin) == std::string::npos) {
            return refused("A path that ends in “.” or “..” is not taken away; name the item itself.",
                           ExitCode::refused);
        }
    }
    if (!after.empty() && after.back() == "..")
        return refused("A path that ends in “.” or “..” is not taken away; name the item itself.", ExitCode::refused);
    const auto lastUp = std::find(after.rbegin(), after.rend(), "..");
    for (auto component = after.begin(); component != lastUp.base(); ++component) resolved += "/" + *component;
    if (lastUp != after.rend()) {
        resolved = fs::canonical(resolved, error).string();
        if (error) return refused(missingMessage, ExitCode::failed);
    }
    if (resolved == "/") resolved.clear();
    for (auto component = lastUp.base(); component != after.end(); ++component) resolved += "/" + *component;
    if (resolved.empty()) resolved = "/";
    // A slash at the end says that it is a folder; of a link the policy speaks.
    const fs::file_status status = fs::symlink_status(resolved, error);
    if (operand.ends_with('/') && fs::exists(status) && !fs::is_directory(status) && !fs::is_symlink(status))
        return refused(missingMessage, ExitCode::failed);
    // A text with replacement characters is another item's name.
    if (Text{resolved}.view() != resolved)
        return refused(fs::exists(status) ? notUTF8Message : missingMessage, ExitCode::failed);
    return {.path = resolved, .refusal = {}};
}

}  // namespace KestrelCLI
