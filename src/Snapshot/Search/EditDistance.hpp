#pragma once

#include <cstddef>

namespace KestrelCore {

/// Whether `a` becomes `b` by at most `bound` insertions, deletions and substitutions of one element. Takes time
/// proportional to 3^bound times the shorter length, whatever the inputs: meant for bounds of one or two.
///
/// Elements that are equal at the front are matched greedily, which never costs an edit; at the first difference each
/// of the three edits is tried. No table is filled, as one would be for the distance itself: only whether it is within
/// the bound is asked, nearly always of words that differ at once. `areEqual(x, y)` compares an element of `a` with one
/// of `b`. Both ranges need random-access iterators.
template <typename IteratorA, typename IteratorB, typename AreEqual>
[[nodiscard]] bool isWithinEditDistance(IteratorA a, IteratorA aEnd, IteratorB b, IteratorB bEnd, int bound,
                                        const AreEqual& areEqual) {
    while (a != aEnd && b != bEnd && areEqual(*a, *b)) {
        ++a;
        ++b;
    }
    const std::ptrdiff_t aLeft = aEnd - a;
    const std::ptrdiff_t bLeft = bEnd - b;
    if (aLeft == 0 || bLeft == 0) return aLeft + bLeft <= bound;
    if (bound == 0 || aLeft - bLeft > bound || bLeft - aLeft > bound) return false;
    return isWithinEditDistance(a + 1, aEnd, b + 1, bEnd, bound - 1, areEqual) ||
           isWithinEditDistance(a + 1, aEnd, b, bEnd, bound - 1, areEqual) ||
           isWithinEditDistance(a, aEnd, b + 1, bEnd, bound - 1, areEqual);
}

}  // namespace KestrelCore
