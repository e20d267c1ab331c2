#include "Platform/macOS/Trash/Portable/FoundationError.hpp"

#include <gtest/gtest.h>

#include <limits>

namespace KestrelCore {
namespace {

TEST(FoundationError, keepsCodesAndSentences) {
    const auto beneath = std::make_shared<const FoundationError>(FoundationError{
        .domain = "NSPOSIXErrorDomain", .code = 13, .description = "Permission denied", .underlying = nullptr});
    const PlatformError error = trashError(
        {.domain = "NSCocoaErrorDomain", .code = 513, .description = "“a” ist geschützt.", .underlying = beneath},
        "/tmp/a");
    EXPECT_EQ(error.domain(), PlatformError::Domain::fileManager);
    EXPECT_EQ(error.code(), PlatformError::fileWriteNoPermission);
    EXPECT_EQ(error.description(), Text{"“a” ist geschützt."});
    ASSERT_NE(error.underlying(), nullptr);
    EXPECT_EQ(error.underlying()->domain(), PlatformError::Domain::posix);
    EXPECT_EQ(error.underlying()->code(), 13);
    EXPECT_EQ(error.underlying()->description(), Text{"Permission denied"});
}

TEST(FoundationError, keepsTheCodeOfAnUnknownDomain) {
    const PlatformError error =
        trashError({.domain = "NSOSStatusErrorDomain", .code = -120, .description = "", .underlying = nullptr}, "/a");
    EXPECT_EQ(error.domain(), PlatformError::Domain::fileManager);
    EXPECT_EQ(error.code(), -120);
    EXPECT_EQ(error.underlying(), nullptr);
}

TEST(FoundationError, hasTheSystemsSentenceWhereItBringsNone) {
    const Text plain{"“a” couldn’t be moved to the trash."};
    EXPECT_EQ(trashError({.domain = "NSCocoaErrorDomain", .code = 512, .description = "", .underlying = nullptr}, "/a")
                  .description(),
              plain);
    EXPECT_EQ(trashError({.domain = "NSPOSIXErrorDomain", .code = 1, .description = "", .underlying = nullptr}, "/a")
                  .description(),
              Text{"“a” couldn’t be moved to the trash because you don’t have permission to access it."});
}

TEST(FoundationError, isAnUnknownFailureWithoutADomain) {
    const PlatformError error = trashError({}, "/a");
    EXPECT_EQ(error.domain(), PlatformError::Domain::fileManager);
    EXPECT_EQ(error.code(), PlatformError::fileWriteUnknown);
    EXPECT_EQ(error.description(), Text{"“a” couldn’t be moved to the trash."});
}

TEST(FoundationError, narrowsCodesThatAreTooLong) {
    EXPECT_EQ(
        trashError({.domain = "x", .code = std::numeric_limits<long>::max(), .description = "", .underlying = nullptr},
                   "/a")
            .code(),
        std::numeric_limits<int>::max());
}

}  // namespace
}  // namespace KestrelCore
