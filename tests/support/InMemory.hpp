#pragma once

#include "support/EnvironmentSetting.hpp"

#include <cstdlib>
#include <unistd.h>

namespace KestrelCore {

/// While it lives, temporary folders are made in memory where the system has a place for that: for tests of very many
/// items, which a disk would take long for.
class InMemory {
    EnvironmentSetting setting_{"TMPDIR", access("/dev/shm", W_OK | X_OK) == 0 ? "/dev/shm" : std::getenv("TMPDIR")};
};

}  // namespace KestrelCore
