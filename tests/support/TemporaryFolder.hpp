#pragma once

#include <string>
#include <string_view>

namespace KestrelCore {

/// A new folder below the system's temporary folder (or `parent`) that removes itself with all that is in it: also deep
/// trees, folders without permissions, any names. What is mounted below it is left alone, and then the folder stays.
class TemporaryFolder {
public:
    explicit TemporaryFolder(const std::string& parent = {});
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    /// Absolute, without links, without a slash at its end.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    /// The path of something in it.
    [[nodiscard]] std::string operator/(std::string_view name) const;

    /// Makes a folder in it, with those above; gives its path.
    std::string makeFolder(std::string_view name) const;
    /// Makes or replaces a file in it, with the folders above; gives its path.
    std::string makeFile(std::string_view name, std::string_view content = {}) const;

private:
    std::string path_;
};

/// The parent for a folder that will hold very many items: in memory where the system has such a place, else empty.
[[nodiscard]] std::string roomyTemporaryFolder();

}  // namespace KestrelCore
