#pragma once

#include <cstddef>
#include <cstdint>

namespace KestrelCore {

/// Fills `size` bytes with random ones from the system's generator. 0, or the errno value: nothing that was drawn may
/// be used then. Any thread.
[[nodiscard]] int fillRandom(void* bytes, std::size_t size) noexcept;

/// A number that changes in a child after every `fork`: what was drawn ahead under another one was drawn by the parent
/// too. Any thread; no system call.
[[nodiscard]] std::uint64_t forkGeneration() noexcept;

}  // namespace KestrelCore
