#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "Platform/POSIX/Walk/DirectoryEntries.hpp"
#include "Platform/POSIX/Walk/FolderDescent.hpp"

#include <cstdint>
#include <string>
#include <vector>

namespace KestrelCore {

/// Removes everything in a folder: relative to descriptors only, never through a link, never into a mount. Any depth,
/// without recursion, with some thirty descriptors. Removing an entry only ever looks at its name in a folder that was
/// reached from the given one, so nothing else can be put in its way.
class FolderEmptier {
public:
    /// `folder` must be open for reading. Stops with ECANCELED before the next entry after a cancellation.
    FolderEmptier(FileDescriptor folder, CancellationToken cancellation)
        : descent_{std::move(folder)}, states_(1), cancellation_{std::move(cancellation)} {}

    /// One pass. False when it had to stop; then `errorNumber` and `stoppedAt` say why and where. True means that every
    /// entry it saw is gone; the folder may have been refilled meanwhile.
    [[nodiscard]] bool run();

    [[nodiscard]] int errorNumber() const { return errorNumber_; }
    /// The entry it stopped at, relative to the folder; raw bytes.
    [[nodiscard]] const std::string& stoppedAt() const { return stoppedAt_; }
    [[nodiscard]] bool hasRemovedAnything() const { return hasRemovedAnything_; }

    /// How often a folder that is refilled while it is emptied is gone through.
    static constexpr int mostPasses = 3;

private:
    /// What there is to do on one level of the descent.
    struct State {
        std::vector<std::string> folders;  ///< found and not entered yet
        int passes = 0;
        int restarts = 0;  ///< how often the listing began anew because the folder had been closed
        bool wasListed = false;
        bool isAtEnd = false;
    };
    struct Entry {
        std::uint64_t inode;
        std::size_t name;  ///< offset into `names_`
    };

    // Each is true to go on and false when the work stopped.
    bool removeNextEntries();
    bool readBatch();
    bool enter(std::string name);
    bool leave();
    bool remove(const std::string& name, int flags);
    bool isGoneAllTheSame(const std::string& name);
    bool stop(int errorNumber, const std::string& entry);

    FolderDescent descent_;
    std::vector<State> states_;  ///< one a level
    DirectoryEntries listing_;
    std::vector<Entry> entries_;  ///< what is no folder in the current batch
    std::vector<Entry> folders_;  ///< and what is one
    std::string names_;           ///< each ends with a NUL
    int errorNumber_ = 0;
    std::string stoppedAt_;
    CancellationToken cancellation_;
    bool hasRemovedAnything_ = false;
};

}  // namespace KestrelCore
