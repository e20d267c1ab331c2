#include "Platform/macOS/Processes/Portable/ProcessArguments.hpp"

#include "Platform/macOS/Portable/ByteFields.hpp"

#include <algorithm>
#include <cstdint>

namespace KestrelCore {
namespace {

/// How many arguments were empty among those that stand first: NULs beyond those that end the path of `pathBytes` and
/// fill its last word look like filling. Counted as arguments, or as many strings of the environment would be taken
/// for the last ones.
std::size_t emptyArguments(std::size_t pathBytes, std::size_t nulBytes) {
    constexpr std::size_t word = 8;
    const std::size_t filling = word - pathBytes % word;
    return nulBytes > filling ? nulBytes - filling : 0;
}

}  // namespace

std::string argumentsIn(std::string_view bytes, std::size_t mostBytes) {
    const auto claimed = numberAt<std::int32_t>(bytes, 0);
    bytes.remove_prefix(std::min(bytes.size(), sizeof claimed));
    const std::size_t pathBytes = std::min(bytes.size(), bytes.find('\0'));
    bytes.remove_prefix(pathBytes);
    const std::size_t nulBytes = std::min(bytes.size(), bytes.find_first_not_of('\0'));
    bytes.remove_prefix(nulBytes);
    const auto count = static_cast<std::size_t>(std::max(0, claimed));

    std::string line;
    for (std::size_t index = emptyArguments(pathBytes, nulBytes);
         index < count && !bytes.empty() && line.size() < mostBytes; ++index) {
        const std::string_view argument = bytes.substr(0, bytes.find('\0'));
        if (!line.empty()) line += ' ';
        line += argument.substr(0, mostBytes);
        bytes.remove_prefix(std::min(bytes.size(), argument.size() + 1));
    }
    line.resize(std::min(line.size(), mostBytes));
    line.resize(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace KestrelCore
