#pragma once

#include "Base/Parallel.hpp"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <thread>

namespace KestrelCore {

/// How many items a thread takes at a time: enough to hide the taking, few enough that all end together. Not a fixed
/// share for each thread: what an item costs differs widely, and the costly ones often stand together.
inline constexpr std::size_t itemsPerBlock = 4096;

/// As many threads as are worth starting for `count` items, at most `wanted` (0: as many as the machine runs at once).
[[nodiscard]] inline unsigned worthwhileThreads(std::size_t count, unsigned wanted) {
    constexpr unsigned most = 16;
    // A thread that would get fewer is hardly worth its start.
    constexpr std::size_t itemsPerThread = 8 * itemsPerBlock;
    if (wanted != 0) return std::min(wanted, most);
    const std::size_t machine = std::clamp(std::thread::hardware_concurrency(), 1U, most);
    return static_cast<unsigned>(std::clamp<std::size_t>(count / itemsPerThread, 1, machine));
}

/// Calls `work(begin, end, thread)` for blocks that together are 0…count, on `threads` threads, of which the caller is
/// number 0. A thread gets its blocks in ascending order. When `work` returns false no further block is begun. Returns
/// when all threads are done.
template <typename Work>
void forEachBlock(std::size_t count, unsigned threads, const Work& work) {
    std::atomic<std::size_t> next = 0;
    std::atomic<bool> goesOn = true;
    const auto run = [&](unsigned thread) {
        while (goesOn.load(std::memory_order_relaxed)) {
            const std::size_t begin = next.fetch_add(itemsPerBlock, std::memory_order_relaxed);
            if (begin >= count) return;
            if (!work(begin, std::min(begin + itemsPerBlock, count), thread)) {
                goesOn.store(false, std::memory_order_relaxed);
            }
        }
    };
    // A helper that gets no thread finds nothing left to do.
    onThreads(threads, run);
}

}  // namespace KestrelCore
