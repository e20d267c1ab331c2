#pragma once

#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Export.hpp"

#include <cstdint>
#include <memory>

namespace KestrelCore {

/// The files with several names that the scans of one question have met: each scan counts such a file once, and the sum
/// of their totals counts one with names in two of them twice. Copies are one and the same. Any thread.
class KESTRELCORE_EXPORT LinkedFiles {
public:
    LinkedFiles();

    /// A scan calls this once for each file with several names, when it meets the first of them.
    void add(const FileIdentity& identity, std::int64_t allocatedBytes) const;

    /// By how many bytes on disk the sum of the scans' totals is too large.
    [[nodiscard]] std::int64_t bytesCountedAgain() const;

private:
    struct State;
    std::shared_ptr<State> state_;
};

}  // namespace KestrelCore
