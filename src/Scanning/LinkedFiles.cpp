#include "KestrelCore/Scanning/LinkedFiles.hpp"

#include "Base/SeededHash.hpp"

#include <boost/unordered/unordered_flat_set.hpp>

#include <algorithm>
#include <cstddef>
#include <mutex>

namespace KestrelCore {

struct LinkedFiles::State {
    /// A volume may claim what inode numbers it likes.
    struct IdentityHash {
        std::size_t operator()(const FileIdentity& identity) const {
            return static_cast<std::size_t>(seededHash(identity.device, identity.inode));
        }
    };

    std::mutex mutex;
    boost::unordered_flat_set<FileIdentity, IdentityHash> met;
    std::int64_t bytesCountedAgain = 0;
};

LinkedFiles::LinkedFiles() : state_{std::make_shared<State>()} {}

void LinkedFiles::add(const FileIdentity& identity, std::int64_t allocatedBytes) const {
    const std::lock_guard guard{state_->mutex};
    if (state_->met.insert(identity).second) return;
    // As the totals themselves, which no scan lets grow beyond this.
    constexpr std::int64_t most = std::int64_t{1} << 62;
    state_->bytesCountedAgain += std::clamp<std::int64_t>(allocatedBytes, 0, most - state_->bytesCountedAgain);
}

std::int64_t LinkedFiles::bytesCountedAgain() const {
    const std::lock_guard guard{state_->mutex};
    return state_->bytesCountedAgain;
}

}  // namespace KestrelCore
