#include "fuzz/GitIndexInput.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    KestrelCore::Fuzzing::exerciseGitIndex({reinterpret_cast<const char*>(data), size});
    return 0;
}
