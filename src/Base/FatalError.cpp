#include "Base/FatalError.hpp"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace KestrelCore {

void fatalError(std::string_view sourceFile, std::string_view message) {
    std::string line;
    line.append(sourceFile).append(": Fatal error: ").append(message).append("\n");
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::abort();
}

}  // namespace KestrelCore
