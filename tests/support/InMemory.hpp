#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <unistd.h>

namespace KestrelCore {

/// While it lives, temporary folders are made in memory where the system has a place for that: for tests of very many
/// items, which a disk would take long for.
class InMemory {
public:
    InMemory() {
        if (const char* value = std::getenv("TMPDIR")) before_ = value;
        if (::access("/dev/shm", W_OK | X_OK) == 0) ::setenv("TMPDIR", "/dev/shm", 1);
    }
    InMemory(const InMemory&) = delete;
    InMemory& operator=(const InMemory&) = delete;
    ~InMemory() {
        if (before_) {
            ::setenv("TMPDIR", before_->c_str(), 1);
        } else {
            ::unsetenv("TMPDIR");
        }
    }

private:
    std::optional<std::string> before_;
};

}  // namespace KestrelCore
