#include "fuzz/HistoryColumnsInput.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore {
namespace {

/// Generations that were kept, and old findings of the fuzzer; each also cut off in many places.
TEST(HistoryColumnsCorpus, breaksNoPromise) {
    int count = 0;
    for (const auto& entry :
         std::filesystem::directory_iterator{std::filesystem::path{KESTREL_FUZZ_CORPUS} / "historycolumns"}) {
        std::ifstream file{entry.path(), std::ios::binary};
        const std::string input{std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
        Fuzzing::exerciseHistoryColumns(input);
        const std::size_t stride = input.size() / 64 + 1;
        for (std::size_t length = 0; length < input.size(); length += stride) {
            Fuzzing::exerciseHistoryColumns(std::string_view{input}.substr(0, length));
        }
        ++count;
    }
    EXPECT_GT(count, 3);
}

}  // namespace
}  // namespace KestrelCore
