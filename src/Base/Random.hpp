#pragma once

#include <cstddef>

namespace KestrelCore {

/// Fills `size` bytes with random ones from the system's generator. Any thread; stops the process when there is none.
void fillRandom(void* bytes, std::size_t size);

}  // namespace KestrelCore
