#pragma once

#include "Platform/Linux/Trash/TrashFolder.hpp"

#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace KestrelCore {

/// Notes the sizes of folders that went to the trash. A trash keeps them in one file, which is written anew as a whole
/// for each note: so those of one request are put off and written together, else many folders would cost the square of
/// their number. Any thread.
class TrashSizes {
public:
    /// From now on notes wait.
    void begin();
    /// Writes down what waits, also that of other requests which still run.
    void end();

    /// Notes a size: at once, or later when a request runs.
    void note(TrashFolder trash, FolderSize size);

private:
    struct Waiting {
        TrashFolder trash;
        std::vector<FolderSize> sizes;
    };

    std::mutex mutex_;
    std::size_t requests_ = 0;                // guarded by `mutex_`
    std::map<std::string, Waiting> waiting_;  // guarded by `mutex_`; by the trash's path
};

}  // namespace KestrelCore
