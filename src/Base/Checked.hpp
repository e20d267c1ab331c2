#pragma once

#include "Base/FatalError.hpp"

#include <concepts>
#include <string_view>

namespace KestrelCore {

/// Sums that stop the process instead of wrapping: byte totals are never silently wrong. For numbers that have been
/// bounded before: what comes from a disk is to be tested where it is read. `sourceFile` is named when they stop it.
/// Any thread.
struct Checked {
    template <std::integral Integer>
    [[nodiscard]] static Integer add(Integer a, Integer b, std::string_view sourceFile) {
        Integer sum;
        if (__builtin_add_overflow(a, b, &sum)) fatalError(sourceFile, "Arithmetic overflow in an addition");
        return sum;
    }

    template <std::integral Integer>
    [[nodiscard]] static Integer subtract(Integer a, Integer b, std::string_view sourceFile) {
        Integer difference;
        if (__builtin_sub_overflow(a, b, &difference)) fatalError(sourceFile, "Arithmetic overflow in a subtraction");
        return difference;
    }

    template <std::integral Integer>
    [[nodiscard]] static Integer multiply(Integer a, Integer b, std::string_view sourceFile) {
        Integer product;
        if (__builtin_mul_overflow(a, b, &product)) fatalError(sourceFile, "Arithmetic overflow in a multiplication");
        return product;
    }
};

}  // namespace KestrelCore
