#pragma once

#include "KestrelCore/Model/ItemCategory.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace KestrelCLI {

/// An item as the picture of its folder needs it.
struct PictureItem {
    std::string name;        ///< as it is stored: any bytes
    std::int64_t bytes = 0;  ///< with all that is below; less than 0 counts as 0
    bool isFolder = false;
    std::optional<KestrelCore::ItemCategory> category{};  ///< of a file
    std::optional<std::int64_t> change{};  ///< bytes more than in the generation before; empty where that is not known
    /// What is in a folder that is drawn with its content, in any order; may be the largest items only. Empty for all
    /// others.
    std::vector<PictureItem> children{};
};

}  // namespace KestrelCLI
