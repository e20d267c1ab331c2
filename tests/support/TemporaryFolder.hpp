#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

namespace KestrelCore {

/// A new folder that goes away, with everything in it, at the end of the test.
class TemporaryFolder {
public:
    TemporaryFolder() : path_{(std::filesystem::temp_directory_path() / "kestrel-XXXXXX").string()} {
        if (mkdtemp(path_.data()) == nullptr) std::abort();
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    [[nodiscard]] const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace KestrelCore
