#pragma once

#include "KestrelCore/Base/CancellationToken.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Export.hpp"
#include "KestrelCore/Reclaim/DuplicateGroup.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace KestrelCore {

/// The last look before a file is given up because another one is equal. Hashes are not trusted, nor is the time that
/// has passed since they were made.
class KESTRELCORE_EXPORT DuplicateComparison {
public:
    /// Why `other` must stay, as a finished sentence; empty when both files are those of the group, are two different
    /// files, have the same bytes, and neither changed while it was read. Told of each piece that was compared. After
    /// a cancellation there is a sentence, too. Any thread; reads both files.
    [[nodiscard]] static std::optional<Text> objection(const DuplicateFile& kept, const DuplicateFile& other,
                                                       const CancellationToken& cancellation = {},
                                                       const std::function<void(std::int64_t bytes)>& onRead = {});
};

}  // namespace KestrelCore
