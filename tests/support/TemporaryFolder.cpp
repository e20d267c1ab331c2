#include "support/TemporaryFolder.hpp"

#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace KestrelCore {

namespace {

/// Moves every folder found up into `top` before it is entered, so that no depth needs recursion, descriptors or long
/// paths. Moving fails across mounts, and that is what keeps them whole.
class Remover {
public:
    explicit Remover(int top) : top_{top} { fstat(top_, &status_); }

    /// Empties the folder `top` until nothing changes any more.
    void run() {
        for (bool hasFound = true; hasFound;) {
            hasFound = false;
            for (const std::string& name : names(top_)) {
                if (unlinkat(top_, name.c_str(), 0) == 0) continue;
                if (unlinkat(top_, name.c_str(), AT_REMOVEDIR) == 0) continue;
                hasFound = empty(name) || hasFound;
            }
        }
    }

private:
    static std::vector<std::string> names(int folder) {
        std::vector<std::string> found;
        const int copy = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        DIR* listing = copy < 0 ? nullptr : fdopendir(copy);
        if (listing == nullptr) return found;
        while (const dirent* entry = readdir(listing)) {
            const std::string name = entry->d_name;
            if (name != "." && name != "..") found.push_back(name);
        }
        closedir(listing);
        return found;
    }

    /// Removes the files of a folder in `top` and moves its folders up; says whether that changed anything.
    bool empty(const std::string& name) {
        int folder = openat(top_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (folder < 0 && errno == EACCES && fchmodat(top_, name.c_str(), S_IRWXU, 0) == 0) {
            folder = openat(top_, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        }
        if (folder < 0) return false;
        struct stat status {};
        bool hasChanged = false;
        if (fstat(folder, &status) == 0 && status.st_dev == status_.st_dev) {
            fchmod(folder, S_IRWXU);
            for (const std::string& inner : names(folder)) {
                if (unlinkat(folder, inner.c_str(), 0) == 0 || unlinkat(folder, inner.c_str(), AT_REMOVEDIR) == 0) {
                    hasChanged = true;
                    continue;
                }
                fchmodat(folder, inner.c_str(), S_IRWXU, 0);  // a folder that moves needs to be writable
                const std::string moved = ".moved-" + std::to_string(++count_);
                hasChanged = renameat(folder, inner.c_str(), top_, moved.c_str()) == 0 || hasChanged;
            }
        }
        close(folder);
        return unlinkat(top_, name.c_str(), AT_REMOVEDIR) == 0 || hasChanged;
    }

    int top_;
    struct stat status_ {};
    unsigned long long count_ = 0;
};

}  // namespace

TemporaryFolder::TemporaryFolder(const std::string& parent) {
    namespace fs = std::filesystem;
    path_ = fs::canonical(parent.empty() ? fs::temp_directory_path() : fs::path{parent}).string() + "/kestrel-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::system_error{errno, std::generic_category(), "No temporary folder " + path_};
    }
}

TemporaryFolder::~TemporaryFolder() {
    chmod(path_.c_str(), S_IRWXU);
    const int top = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (top < 0) return;
    Remover{top}.run();
    close(top);
    rmdir(path_.c_str());
}

std::string TemporaryFolder::operator/(std::string_view name) const { return path_ + "/" + std::string{name}; }

std::string TemporaryFolder::makeFolder(std::string_view name) const {
    std::string made = *this / name;
    std::filesystem::create_directories(made);
    return made;
}

std::string TemporaryFolder::makeFile(std::string_view name, std::string_view content) const {
    std::string made = *this / name;
    std::filesystem::create_directories(std::filesystem::path{made}.parent_path());
    std::ofstream out{made, std::ios::binary};
    out << content;
    if (!out.flush()) throw std::runtime_error{"Could not write " + made};
    return made;
}

std::string roomyTemporaryFolder() { return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : ""; }

}  // namespace KestrelCore
