#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <string_view>

namespace KestrelCore {

/// Lets this process read `text`, a few lines at most, from standard input while it lives, and then its end.
class StandardInput {
public:
    explicit StandardInput(std::string_view text) : before_{fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)} {
        int ends[2];
        if (pipe(ends) != 0) throw std::runtime_error{"no pipe for the standard input"};
        const ssize_t written = write(ends[1], text.data(), text.size());
        dup2(ends[0], STDIN_FILENO);
        close(ends[0]);
        close(ends[1]);
        if (written != static_cast<ssize_t>(text.size())) throw std::runtime_error{"too much for the standard input"};
    }
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;
    ~StandardInput() {
        if (before_ < 0) {
            close(STDIN_FILENO);
            return;
        }
        dup2(before_, STDIN_FILENO);
        close(before_);
    }

private:
    int before_;
};

}  // namespace KestrelCore
