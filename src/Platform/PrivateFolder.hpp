#pragma once

#include "KestrelCore/Base/Text.hpp"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace KestrelCore {

/// A folder of small files that this user alone reads and writes. It is created when something is written to it.
class PrivateFolder {
public:
    explicit PrivateFolder(Text path) : path_{std::move(path)} {}

    /// Writes a file as a whole, in place of an older one of that name; it is on the disk when this returns. Throws
    /// `PlatformError`; the older one is then still there.
    void write(const std::string& name, std::string_view content) const;
    /// Empty for what is missing, no regular file (links are not followed), or longer than 64 KiB.
    [[nodiscard]] std::optional<std::string> read(const std::string& name) const;
    /// All names in it, sorted; none when it does not exist.
    [[nodiscard]] std::vector<std::string> names() const;
    void remove(const std::string& name) const;

private:
    Text path_;
};

}  // namespace KestrelCore
