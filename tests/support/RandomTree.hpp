#pragma once

#include <cstdint>
#include <string>

namespace KestrelCore {

/// Fills the folder `path` with some hundred entries of all kinds that an ordinary user can make: odd names, links of
/// both kinds, FIFOs, sockets, sparse files, and folders that can't be read or searched. The seed decides what.
void makeRandomTree(const std::string& path, std::uint32_t seed);

}  // namespace KestrelCore
