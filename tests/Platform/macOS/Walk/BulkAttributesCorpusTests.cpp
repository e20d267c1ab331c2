#include "fuzz/BulkAttributesInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

namespace KestrelCore {
namespace {

/// What the harness begins with and has found, each also cut off at many bytes.
TEST(BulkAttributesCorpus, breaksNoPromise) {
    std::size_t understood = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator{std::filesystem::path{KESTREL_FUZZ_CORPUS} / "bulkattributes"}) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::string input{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
        understood += Fuzzing::exerciseBulkRecords(input);
        Fuzzing::exerciseVolumes(input);
        const std::size_t stride = input.size() / 256 + 1;
        for (std::size_t length = 0; length < input.size(); length += stride) {
            // Memory of that size, so that the sanitizers see who reads behind it.
            const auto copy = std::make_unique<char[]>(length);
            input.copy(copy.get(), length);
            (void)Fuzzing::exerciseBulkRecords({copy.get(), length});
            Fuzzing::exerciseVolumes({copy.get(), length});
        }
    }
    EXPECT_GT(understood, 8U);
}

}  // namespace
}  // namespace KestrelCore
