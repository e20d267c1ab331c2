#include "KestrelCore/Base/PlatformError.hpp"

#include <cstring>

namespace KestrelCore {
namespace {

// `strerror_r` returns its text in two ways: the GNU one as a pointer that may leave the buffer alone, the POSIX one in
// the buffer with a status. The overloads take whichever this system has.
[[maybe_unused]] const char* messageOf(const char* message, const char*) { return message; }
[[maybe_unused]] const char* messageOf(int, const char* buffer) { return buffer; }

}  // namespace

Text systemErrorText(int errorNumber) {
    char buffer[256] = "";
    return Text{messageOf(strerror_r(errorNumber, buffer, sizeof buffer), buffer)};
}

PlatformError PlatformError::posix(int errorNumber) {
    return {Domain::posix, errorNumber, systemErrorText(errorNumber)};
}

}  // namespace KestrelCore
