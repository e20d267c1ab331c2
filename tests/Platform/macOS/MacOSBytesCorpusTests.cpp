#include "fuzz/MacOSBytesInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore {
namespace {

/// Built samples and old findings of the fuzzer, each also cut off at every byte.
TEST(MacOSBytesCorpus, breaksNoPromise) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator{std::filesystem::path{KESTREL_FUZZ_CORPUS} / "macosbytes"}) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::string input{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
        for (std::size_t length = 0; length <= input.size(); ++length)
            Fuzzing::exerciseMacOSBytes(std::string_view{input}.substr(0, length));
        ++count;
    }
    EXPECT_GT(count, 4);
}

}  // namespace
}  // namespace KestrelCore
