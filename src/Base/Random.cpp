#include "Base/Random.hpp"

#include "Base/FatalError.hpp"

#include <cerrno>
#include <sys/random.h>

namespace KestrelCore {

void fillRandom(void* bytes, std::size_t size) {
    auto* out = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t got = getrandom(out, size, 0);
        if (got < 0) {
            if (errno == EINTR) continue;
            fatalError("KestrelCore/Platform/Random", "The system has no random numbers");
        }
        out += got;
        size -= static_cast<std::size_t>(got);
    }
}

}  // namespace KestrelCore
