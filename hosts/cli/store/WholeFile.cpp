#include "store/WholeFile.hpp"

#include "output/Session.hpp"

#include "KestrelCore/Base/UUID.hpp"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace KestrelCLI {

namespace {

namespace fs = std::filesystem;

PathError failed(const std::string& path, const std::string& reason) {
    return PathError{fmt::format("{} could not be written: {}", path, reason), path};
}

PathError isThere(const std::string& path) {
    return PathError{fmt::format("{} is there already; --force replaces it.", path), path};
}

/// A file that goes unless it is kept.
class Draft {
public:
    explicit Draft(fs::path path) : path_{std::move(path)} {}
    ~Draft() {
        std::error_code ignored;
        if (!isKept_) fs::remove(path_, ignored);
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    [[nodiscard]] const fs::path& path() const { return path_; }
    void keep() { isKept_ = true; }

private:
    fs::path path_;
    bool isKept_ = false;
};

void writeInto(const fs::path& file, const std::string& path, const std::function<void(std::ostream&)>& write) {
    errno = 0;
    std::ofstream out{file, std::ios::binary};
    if (!out) throw failed(path, std::strerror(errno != 0 ? errno : EIO));
    // What can't be written ends it at once.
    out.exceptions(std::ios::badbit | std::ios::failbit);
    try {
        errno = 0;
        write(out);
        out.close();
    } catch (const std::ios_base::failure&) {
        throw failed(path, std::strerror(errno != 0 ? errno : EIO));
    }
}

/// Gives the draft its place, where nothing is: also what came there meanwhile is kept.
void putInPlace(Draft& draft, const std::string& path) {
    std::error_code error;
    fs::create_hard_link(draft.path(), path, error);  // the draft's own name goes with the draft
    if (!error) return;
    // Some file systems know no second names.
    if (error == std::errc::file_exists || fs::exists(fs::symlink_status(path))) throw isThere(path);
    fs::rename(draft.path(), path, error);
    if (error) throw failed(path, error.message());
    draft.keep();
}

}  // namespace

void writeWholeFile(const std::string& path, ExistingFile existing, const std::function<void(std::ostream&)>& write) {
    std::error_code error;
    const fs::file_status there = fs::status(path, error);
    if (fs::is_directory(there)) throw failed(path, "Is a directory");
    if (fs::exists(there) && !fs::is_regular_file(there)) {
        writeInto(path, path, write);
        return;
    }
    // What a link leads to is replaced, and not the link.
    const fs::path place = fs::exists(there) ? fs::canonical(path, error) : fs::path{path};
    if (error && fs::exists(there)) throw failed(path, error.message());
    if (existing == ExistingFile::keep && fs::exists(fs::symlink_status(path, error))) throw isThere(path);
    Draft draft{place.parent_path() / fmt::format(".kestrel-writing-{}", KestrelCore::UUID::random().uuidString())};
    writeInto(draft.path(), path, write);
    if (existing == ExistingFile::keep) {
        putInPlace(draft, path);
        return;
    }
    fs::rename(draft.path(), place, error);
    if (error) throw failed(path, error.message());
    draft.keep();
}

}  // namespace KestrelCLI
