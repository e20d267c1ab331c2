#include "CInterface/Boundary.hpp"

#include "KestrelCore/Base/PlatformError.hpp"
#include "KestrelCore/Exchange/ExchangeFormat.hpp"
#include "KestrelCore/JSON/CodingErrors.hpp"
#include "KestrelCore/Model/KestrelError.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <new>
#include <stdexcept>
#include <system_error>

namespace {

using namespace KestrelC;
using namespace KestrelCore;

struct Told {
    kestrel_code code;
    std::string message;
    int systemCode;
};

/// What of an exception comes out at the boundary.
template <typename Exception>
Told told(const Exception& exception) {
    kestrel_error* error = nullptr;
    const kestrel_code code = guarded(&error, [&] { throw exception; });
    EXPECT_EQ(kestrel_error_code(error), code);
    Told result{code, kestrel_error_message(error), kestrel_error_system_code(error)};
    kestrel_error_free(error);
    EXPECT_EQ(guarded(nullptr, [&] { throw exception; }), code);
    return result;
}

TEST(CInterfaceErrors, everyExceptionBecomesACode) {
    EXPECT_EQ(told(KestrelError::unavailable("No.")).code, KESTREL_UNAVAILABLE);
    EXPECT_EQ(told(KestrelError::accessDenied("No.")).code, KESTREL_ACCESS_DENIED);
    EXPECT_EQ(told(KestrelError::safetyViolation("No.")).code, KESTREL_SAFETY_VIOLATION);
    EXPECT_EQ(told(KestrelError::staleItem("No.")).message, "No.");
    EXPECT_EQ(told(KestrelError::staleItem("No.")).code, KESTREL_STALE_ITEM);
    EXPECT_EQ(told(DecodingError{DecodingError::Kind::dataCorrupted, "a", "b"}).code, KESTREL_DAMAGED);
    EXPECT_EQ(told(EncodingError{"a"}).code, KESTREL_DAMAGED);
    EXPECT_EQ(told(ImportError{3, "broken"}).code, KESTREL_DAMAGED);
    EXPECT_EQ(told(std::system_error{EAGAIN, std::generic_category()}).code, KESTREL_SYSTEM);
    EXPECT_EQ(told(std::system_error{EAGAIN, std::generic_category()}).systemCode, EAGAIN);
    EXPECT_EQ(told(Failure{KESTREL_NOT_FOUND, "Gone."}).code, KESTREL_NOT_FOUND);
    EXPECT_EQ(told(std::runtime_error{"odd"}).code, KESTREL_INTERNAL);
    EXPECT_EQ(told(17).code, KESTREL_INTERNAL);
}

TEST(CInterfaceErrors, theSystemsCodeMayLieBeneath) {
    const PlatformError outer{PlatformError::Domain::fileManager, PlatformError::fileWriteNoPermission, "Not allowed.",
                              std::make_shared<const PlatformError>(PlatformError::posix(EPERM))};
    EXPECT_EQ(told(outer).systemCode, EPERM);
    EXPECT_EQ(told(outer).message, "Not allowed.");
    EXPECT_EQ(told(PlatformError{PlatformError::Domain::fileManager, 512, "Failed."}).systemCode, 0);
}

TEST(CInterfaceErrors, wantOfMemoryNeedsNone) {
    const Told first = told(std::bad_alloc{});
    EXPECT_EQ(first.code, KESTREL_OUT_OF_MEMORY);
    EXPECT_EQ(first.message, "Out of memory.");
    // The one error that nobody owns is not used up by being freed.
    EXPECT_EQ(told(std::bad_alloc{}).message, "Out of memory.");
}

TEST(CInterfaceErrors, successLeavesNoError) {
    kestrel_error* error = nullptr;
    ASSERT_EQ(guarded(&error, [] { throw std::runtime_error{"odd"}; }), KESTREL_INTERNAL);
    kestrel_error_free(error);
    EXPECT_EQ(guarded(&error, [] {}), KESTREL_OK);
    EXPECT_EQ(error, nullptr);
}

}  // namespace
