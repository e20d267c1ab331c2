#include "Base/Random.hpp"

#include "Base/BoundedRetry.hpp"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <pthread.h>
#include <sys/random.h>

namespace KestrelCore {

namespace {

std::atomic<std::uint64_t> forks{0};

extern "C" void noteFork() { forks.fetch_add(1, std::memory_order_relaxed); }

/// How many bytes the system wrote, at least one; -1 with errno.
ssize_t drawRandom(char* out, std::size_t size) {
#ifdef GRND_NONBLOCK  // declared beside getrandom
    return repeatedWhenInterrupted([&] { return getrandom(out, size, 0); });
#else
    constexpr std::size_t most = 256;  // that one call gives
    const std::size_t portion = std::min(size, most);
    return getentropy(out, portion) == 0 ? static_cast<ssize_t>(portion) : -1;
#endif
}

}  // namespace

int fillRandom(void* bytes, std::size_t size) noexcept {
    auto* out = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t got = drawRandom(out, size);
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
