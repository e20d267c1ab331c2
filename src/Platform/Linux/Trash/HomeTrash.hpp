#pragma once

#include <string>

namespace KestrelCore {

/// The trash folder of the user's home directory (`$XDG_DATA_HOME/Trash`), as it is named but for empty components; it
/// need not exist.
[[nodiscard]] std::string homeTrashPath();

}  // namespace KestrelCore
