#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace KestrelCore::Testing {

/// A file below tests/data, as bytes. Fails the test when it can't be read.
inline std::string recordedText(const std::filesystem::path& relativePath) {
    std::ifstream file{std::filesystem::path{KESTREL_TEST_DATA} / relativePath, std::ios::binary};
    EXPECT_TRUE(file.is_open()) << relativePath;
    return {std::istreambuf_iterator<char>{file}, std::istreambuf_iterator<char>{}};
}

}  // namespace KestrelCore::Testing
