#include "store/MissingScan.hpp"

#include "output/ShellWord.hpp"
#include "output/Times.hpp"
#include "store/DataPlace.hpp"

#include "KestrelCore/Model/KestrelError.hpp"
#include "KestrelCore/Scanning/ExcludePattern.hpp"

#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <system_error>

using namespace KestrelCore;

namespace KestrelCLI {

namespace fs = std::filesystem;

std::optional<Text> patternLeavingOut(const Generation& scan, const Text& path) {
    std::error_code error;
    const bool isFolder = fs::is_directory(path.string(), error);
    for (const Text& each : scan.leftOut) {
        try {
            const ExcludePattern pattern = ExcludePattern::parse(each.view());
            if (pattern.leavesOut(path, scan.scope.root.path(), isFolder ? FileKind::directory : FileKind::file))
                return each;
        } catch (const KestrelError&) {
            continue;  // words for what no pattern names
        }
    }
    return std::nullopt;
}

std::string noScanYet(const Session& session) {
    if (const auto why = whyNothingWillBeKept(session))
        return fmt::format(
            "There is no saved scan yet, and none can be saved. {} kestrel scan --no-save shows what takes "
            "the space.",
            *why);
    return "There is no saved scan yet: kestrel scan makes one.";
}

std::string noScanOf(std::string_view path) {
    std::error_code error;
    fs::path folder{path};
    if (!fs::exists(fs::symlink_status(folder, error)))
        return fmt::format("No saved scan is of {} or a folder above it, and nothing is there.", path);
    if (!fs::is_directory(folder, error)) folder = folder.parent_path();
    // A backslash would be shown as two, and so is not to be copied.
    const auto word =
        folder.native().find_first_of("\\'") == std::string::npos ? shellWord(folder.native()) : std::nullopt;
    return fmt::format("No saved scan is of {} or a folder above it: kestrel scan{} makes one.", path,
                       word ? ' ' + *word : " with its name");
}

std::string notInScan(const Generation& scan, const Text& path) {
    const std::string sentence = fmt::format("{} is not in the scan of {} from {}", path.view(),
                                             scan.scope.root.path().view(), localTime(scan.completedAt));
    if (const auto pattern = patternLeavingOut(scan, path))
        return fmt::format("{}, which left out {}.", sentence, pattern->view());
    return sentence + '.';
}

}  // namespace KestrelCLI
