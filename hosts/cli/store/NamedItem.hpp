#pragma once

#include "output/Session.hpp"

#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <string>

namespace KestrelCLI {

/// What is said of an operand that names no item.
inline constexpr const char* missingMessage = "The item no longer exists or cannot be inspected.";
/// Of one that is there, but that no text can name.
inline constexpr const char* notUTF8Message = "Its name is not UTF-8, so it can’t be named here. Rename it first.";

/// What an operand names, or why it names nothing that could go.
struct NamedItem {
    std::string path;  ///< raw bytes, absolute, without "." and ".."
    std::optional<KestrelCore::Text> refusal;
    ExitCode code = ExitCode::done;
};

/// Finds what the operand names as the system would: against the current folder, which must exist, and with ".." as the
/// parent of what really is before it, also behind a link. Nothing is resolved in text before the disk was asked. That
/// there is such an item is not asked for.
[[nodiscard]] NamedItem namedItem(const std::string& operand);

}  // namespace KestrelCLI
