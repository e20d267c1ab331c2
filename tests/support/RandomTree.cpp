#include "support/RandomTree.hpp"

#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace KestrelCore {

namespace {

class Maker {
public:
    explicit Maker(std::uint32_t seed) : random_{seed} {}

    void fill(const std::string& folder, int depth) {
        const int count = depth == 0 ? 25 : below(11);
        for (int index = 0; index < count; ++index) {
            const std::string path = folder + "/" + name();
            switch (below(10)) {
            case 0:
            case 1:
            case 2:
                if (depth < 6 && mkdir(path.c_str(), 0755) == 0) fill(path, depth + 1);
                break;
            case 3: static_cast<void>(symlink(below(2) == 0 ? ".." : "nowhere", path.c_str())); break;
            case 4: static_cast<void>(mkfifo(path.c_str(), 0644)); break;
            case 5: static_cast<void>(mknod(path.c_str(), S_IFSOCK | 0644, 0)); break;
            case 6:
                if (!files_.empty()) static_cast<void>(link(files_[pick(files_.size())].c_str(), path.c_str()));
                break;
            default: makeFile(path); break;
            }
        }
        // Last, when everything is in it.
        constexpr mode_t modes[] = {0000, 0444, 0111, 0300};
        if (depth > 0 && below(8) == 0) chmod(folder.c_str(), modes[pick(4)]);
    }

private:
    int below(int bound) { return std::uniform_int_distribution<int>{0, bound - 1}(random_); }
    std::size_t pick(std::size_t bound) { return std::uniform_int_distribution<std::size_t>{0, bound - 1}(random_); }

    std::string name() {
        static const std::vector<std::string> odd = {"\xff\xfe", "new\nline", "\x1b[31m", "-rf", "   ", "e\xcc\x81",
                                                     "\xc3\xa9", "...",       ".hidden",  "*",   "\\",  "\xe2\x80\xae"};
        if (below(4) == 0) return odd[pick(odd.size())];
        if (below(20) == 0) return std::string(255, static_cast<char>('a' + below(26)));
        return "n" + std::to_string(below(10'000));
    }

    void makeFile(const std::string& path) {
        const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        if (file < 0) return;
        if (below(3) == 0) static_cast<void>(ftruncate(file, below(1 << 30)));
        close(file);
        files_.push_back(path);
    }

    std::mt19937 random_;
    std::vector<std::string> files_;
};

}  // namespace

void makeRandomTree(const std::string& path, std::uint32_t seed) { Maker{seed}.fill(path, 0); }

}  // namespace KestrelCore
