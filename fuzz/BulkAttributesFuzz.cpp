#include "fuzz/BulkAttributesInput.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view input{reinterpret_cast<const char*>(data), size};
    (void)KestrelCore::Fuzzing::exerciseBulkRecords(input);
    KestrelCore::Fuzzing::exerciseVolumes(input);
    return 0;
}
