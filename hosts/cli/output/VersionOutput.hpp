#pragma once

#include "output/Session.hpp"

namespace KestrelCLI {

/// Tells the version of this program, the commit of its source and the libraries that it runs with, as text or as JSON.
/// The first line of the text is `kestrel` and the version, for scripts.
void writeVersion(const Session& session);

}  // namespace KestrelCLI
