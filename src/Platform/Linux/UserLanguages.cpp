#include "Platform/UserLanguages.hpp"

namespace KestrelCore {

// Bundles that come here are looked at and not run; the languages of the desktop are no choice for them.
std::vector<Text> userLanguages() { return {"en"}; }

}  // namespace KestrelCore
