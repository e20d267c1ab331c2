#include "fuzz/ProcTextInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore {
namespace {

namespace fs = std::filesystem;

/// Old findings of the fuzzer and the recorded samples, each also cut off at every byte.
TEST(ProcTextCorpus, breaksNoPromise) {
    const fs::path data{KESTREL_TEST_DATA};
    int count = 0;
    for (const fs::path& folder : {data / "proc", fs::path{KESTREL_FUZZ_CORPUS} / "proctext"}) {
        for (const auto& entry : fs::directory_iterator{folder}) {
            std::ifstream file{entry.path(), std::ios::binary};
            const std::string input{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
            Fuzzing::exerciseProcText(input);
            const std::size_t stride = input.size() / 256 + 1;
            for (std::size_t length = 0; length < input.size(); length += stride) {
                Fuzzing::exerciseProcText(std::string_view{input}.substr(0, length));
            }
            ++count;
        }
    }
    EXPECT_GT(count, 15);
}

}  // namespace
}  // namespace KestrelCore
