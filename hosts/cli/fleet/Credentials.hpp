#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCLI {

/// Who asks a server. Never shown, never on a command line, where everybody on the machine could read it.
struct Credentials {
    std::string user;  ///< empty: the server's default user
    std::string password;

    /// Of KESTREL_FLEET_USER and KESTREL_FLEET_PASSWORD, or of `file` where one is named: two lines, the user and the
    /// password, that nobody else can read. Throws `UsageError` or a sentence. Blocks on the disk.
    [[nodiscard]] static Credentials current(const std::optional<std::string>& file);
    /// The same of the text of such a file; `name` is what a sentence calls it.
    [[nodiscard]] static Credentials parse(std::string_view text, std::string_view name);

    /// `text` with the password, also as it stands in requests, replaced by "…".
    [[nodiscard]] std::string scrubbed(std::string text) const;
};

}  // namespace KestrelCLI
