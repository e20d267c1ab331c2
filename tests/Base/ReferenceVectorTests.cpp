#include "conformance/Checkers.hpp"

#include <gtest/gtest.h>
#include <sstream>

namespace KestrelCore::conformance {
namespace {

class ReferenceVectors : public ::testing::TestWithParam<const char*> {};

TEST_P(ReferenceVectors, agreeWithTheLibrary) {
    std::ostringstream out;
    const Summary summary = checkFolder(std::filesystem::path{KESTREL_TEST_DATA} / "vectors" / GetParam(), out);
    EXPECT_GT(summary.comparisons, 0U);
    EXPECT_EQ(summary.differences, 0U) << out.str();
}

INSTANTIATE_TEST_SUITE_P(Folders, ReferenceVectors, ::testing::Values("fixed", "random"));

}  // namespace
}  // namespace KestrelCore::conformance
