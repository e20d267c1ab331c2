#pragma once

#include "KestrelCore/Base/UUID.hpp"
#include "KestrelCore/Deletion/TrashReceipt.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace KestrelCore {

/// The text that a receipt's file holds. The identifier is no part of it: it is the file's name.
[[nodiscard]] std::string receiptText(const TrashReceipt& receipt);
/// Reads such a text, which may come from anybody. Empty when the heading, the path, the item or the date is missing or
/// malformed; unknown lines are passed over.
[[nodiscard]] std::optional<TrashReceipt> trashReceipt(const UUID& id, std::string_view text);

}  // namespace KestrelCore
