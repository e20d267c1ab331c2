#include "fuzz/SnapshotPayloadInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore {
namespace {

/// Old findings of the fuzzer, each also cut off in many places.
TEST(SnapshotPayloadCorpus, breaksNoPromise) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator{std::filesystem::path{KESTREL_FUZZ_CORPUS} / "snapshotpayload"}) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::string input{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
        Fuzzing::exerciseSnapshotPayload(input);
        const std::size_t stride = input.size() / 64 + 1;
        for (std::size_t length = 0; length < input.size(); length += stride) {
            Fuzzing::exerciseSnapshotPayload(std::string_view{input}.substr(0, length));
        }
        ++count;
    }
    EXPECT_GT(count, 5);
}

}  // namespace
}  // namespace KestrelCore
