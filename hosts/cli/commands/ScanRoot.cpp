#include "commands/ScanRoot.hpp"

#include "output/Session.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Base/URL.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>

using namespace KestrelCore;

namespace KestrelCLI {

ScanRoot resolveScanRoot(const std::string& name) {
    std::error_code error;
    // Links are followed here and by the system: the scan itself follows none, so a link as its root would show
    // nothing.
    const std::filesystem::path real = std::filesystem::canonical(name, error);
    if (error) {
        throw PathError{
            fmt::format("{}: {}", name.empty() ? "The empty name" : name, systemErrorText(error.value()).view()), name};
    }
    // A text with replacement characters would name another folder, or none.
    const Text path{real.native()};
    if (path.view() != real.native()) {
        throw PathError{fmt::format("The name of {} is not UTF-8. Scan the folder above it instead.", path.view()),
                        path.string()};
    }
    // A folder's URL ends in a slash; a single file can be scanned too.
    const bool isDirectory = std::filesystem::is_directory(real, error);
    // What the name means by text alone: another answer means that a link was followed.
    const Text textual = Path::standardized(URL::fromPath(name).path());
    return {.scope = ScanScope{URL::fromPath(path, isDirectory)}, .wasLink = textual.view() != path.view()};
}

}  // namespace KestrelCLI
