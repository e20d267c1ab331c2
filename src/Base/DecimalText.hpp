#pragma once

#include <charconv>

namespace KestrelCore {

/// Reads a decimal number off the beginning of [first, last): an optional '-', digits with a point among or beside
/// them, an optional exponent. No locale has a say. As `std::from_chars` answers: `ptr` is behind the number;
/// `invalid_argument` where none stands there ("inf" and "nan" are none), and `result_out_of_range` for what no double
/// can hold, too large or too small; `value` is left alone then. Any thread.
std::from_chars_result readDecimal(const char* first, const char* last, double& value);

/// The same by the C library, for standard libraries whose `std::from_chars` knows no double.
std::from_chars_result readDecimalByCLibrary(const char* first, const char* last, double& value);

}  // namespace KestrelCore
