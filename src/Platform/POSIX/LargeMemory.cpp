#include "Platform/LargeMemory.hpp"

#include <cstdlib>
#include <new>
#include <sys/mman.h>

namespace KestrelCore {

std::shared_ptr<std::byte[]> LargeMemory::allocate(std::size_t bytes) {
    // What the processors at hand have.
    constexpr std::size_t largePage = std::size_t{1} << 21;
    const std::size_t whole = bytes / largePage * largePage;
    // Linux takes a page as a large one only where it begins as one.
    void* const memory = whole == 0 ? std::malloc(bytes)
                                    : std::aligned_alloc(largePage, (bytes + largePage - 1) / largePage * largePage);
    if (memory == nullptr && bytes > 0) throw std::bad_alloc{};
#ifdef MADV_HUGEPAGE
    // A wish: where it is not granted, the pages are small.
    if (whole > 0) (void)::madvise(memory, whole, MADV_HUGEPAGE);
#endif
    return {static_cast<std::byte*>(memory), [](std::byte* freed) { std::free(freed); }};
}

}  // namespace KestrelCore
