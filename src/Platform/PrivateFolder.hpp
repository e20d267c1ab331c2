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

    /// One of its files.
    struct File {
        std::string name;
        std::string content;
    };
    /// Writes files as wholes, in place of older ones of these names; they are on the disk when this returns. Many are
    /// synced together. Throws `PlatformError`; each older one is then still there, or replaced as a whole.
    void write(const std::vector<File>& files) const;
    /// Empty for what is missing, no regular file (links are not followed), or longer than 64 KiB.
    [[nodiscard]] std::optional<std::string> read(const std::string& name) const;
    /// All names in it, sorted; none when it does not exist.
    [[nodiscard]] std::vector<std::string> names() const;
    void remove(const std::string& name) const;

private:
    Text path_;
};

}  // namespace KestrelCore
