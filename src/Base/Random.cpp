#include "Base/Random.hpp"

#include "Base/BoundedRetry.hpp"

#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <sys/random.h>

namespace KestrelCore {

namespace {

std::atomic<std::uint64_t> forks{0};

extern "C" void noteFork() { forks.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

int fillRandom(void* bytes, std::size_t size) noexcept {
    auto* out = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t got = repeatedWhenInterrupted([&] { return getrandom(out, size, 0); });
        if (got < 0) return errno;
        out += got;
        size -= static_cast<std::size_t>(got);
    }
    return 0;
}

std::uint64_t forkGeneration() noexcept {
    // Fails for want of memory only, and then forking fails sooner than this matters.
    [[maybe_unused]] static const int registered = pthread_atfork(nullptr, nullptr, noteFork);
    return forks.load(std::memory_order_relaxed);
}

}  // namespace KestrelCore
