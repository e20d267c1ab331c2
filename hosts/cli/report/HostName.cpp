#include "report/HostName.hpp"

#include <unistd.h>

#include <array>

namespace KestrelCLI {

std::string hostName() {
    std::array<char, 256> name{};
    // A name that is too long may come without its end.
    if (gethostname(name.data(), name.size() - 1) != 0) return {};
    return name.data();
}

}  // namespace KestrelCLI
