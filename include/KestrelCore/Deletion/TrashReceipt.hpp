#pragma once

#include "KestrelCore/Base/Date.hpp"
#include "KestrelCore/Base/FileIdentity.hpp"
#include "KestrelCore/Base/Text.hpp"
#include "KestrelCore/Base/UUID.hpp"

#include <cstdint>
#include <optional>

namespace KestrelCore {

/// What is known about one item that was moved to the Trash, or was about to be when something interrupted that.
struct TrashReceipt {
    UUID id;
    Text path;                          ///< where it was
    std::optional<Text> resultingPath;  ///< where it is in the Trash; absent when the move was interrupted, or when
                                        ///< the receipt's text for it can't be read
    Date trashedAt;
    FileIdentity identity;
    std::uint32_t fileTypeBits = 0;  ///< of its mode
    /// The same in all receipts of one request; absent in those that earlier versions wrote.
    std::optional<UUID> request = std::nullopt;

    bool operator==(const TrashReceipt&) const = default;
};

}  // namespace KestrelCore
