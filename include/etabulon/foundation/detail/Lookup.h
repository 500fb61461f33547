#pragma once

#include "etabulon/foundation/FindMode.h"

#include <cstdint>

namespace etabulon::detail {

/// The outcome of a lookup: the resulting index; with `insert`, FindOrInsert inserts there first.
struct LookupEnd {
    std::int32_t index;
    bool insert = false;
};

// The walks below see the elements only through `compare(index)`: negative, 0 or positive for the
// sought key against the element; the unsorted walks test for 0 only. `hint` is the caller's copy,
// -1 or an index below `size`; each walk leaves in it the hint to keep.

inline LookupEnd NotFound(std::int32_t& hint) noexcept {
    hint = -1;
    return {-1};
}

inline LookupEnd BelowAll(std::int32_t& hint, FindMode mode) noexcept {
    if (mode == FindExact || mode == FindPrevious) {
        return NotFound(hint);
    }
    hint = 0;
    return {0, mode == FindOrInsert};
}

inline LookupEnd AboveAll(std::int32_t last, std::int32_t& hint, FindMode mode) noexcept {
    if (mode == FindExact || mode == FindNext) {
        return NotFound(hint);
    }
    if (mode == FindOrInsert) {
        hint = last + 1;
        return {hint, true};
    }
    // Deliberate: FindInsertPos gets the last index, not the size. ChangeKey computes its target
    // from this index, and existing maps are laid out by it. FindInsertPosAboveAllGivesLastIndex
    // holds it.
    hint = last;
    return {last};
}

/// The key lies between the elements at `low` and `high`.
template <class Compare>
LookupEnd Bisect(std::int32_t low, std::int32_t high, std::int32_t& hint, FindMode mode,
                 const Compare& compare) {
    while (high - low > 1) {
        const std::int32_t middle = (high + low) >> 1;
        const int order = compare(middle);
        if (order == 0) {
            hint = middle;
            return {middle};
        }
        (order < 0 ? high : low) = middle;
    }
    if (mode == FindExact) {
        return NotFound(hint);
    }
    hint = mode == FindPrevious ? low : high;
    return {hint, mode == FindOrInsert};
}

/// Begins at the hint, since consecutive lookups lie close together, and tests the two ends before
/// it bisects.
template <class Compare>
LookupEnd FindSorted(std::int32_t size, std::int32_t& hint, FindMode mode, const Compare& compare) {
    if (size == 0) {
        // Deliberate: FindInsertPos in an empty container gives -1, though an element would go to
        // 0. RandomLookups.AnswerAsTold holds it.
        return mode == FindOrInsert ? LookupEnd{hint = 0, true} : NotFound(hint);
    }
    const std::int32_t last = size - 1;
    if (hint == -1) {
        hint = last >> 1;
    }
    const int order = compare(hint);
    if (order == 0) {
        return {hint};
    }
    if (order < 0) {
        const int first = hint == 0 ? -1 : compare(0);
        if (first == 0) {
            hint = 0;
            return {0};
        }
        return first < 0 ? BelowAll(hint, mode) : Bisect(0, hint, hint, mode, compare);
    }
    const int end = hint == last ? 1 : compare(last);
    if (end == 0) {
        hint = last;
        return {last};
    }
    return end > 0 ? AboveAll(last, hint, mode) : Bisect(hint, last, hint, mode, compare);
}

/// The outcome in an unsorted container without an equal element. FindNext and FindPrevious have no
/// meaning without an order, and act as FindExact.
inline LookupEnd MissUnsorted(std::int32_t size, std::int32_t& hint, FindMode mode) noexcept {
    if (mode == FindOrInsert) {
        hint = size;
        return {size, true};
    }
    if (mode == FindInsertPos) {
        hint = size - 1;
        return {hint};
    }
    return NotFound(hint);
}

/// The element at the hint, then all from the first.
template <class Compare>
LookupEnd FindUnsorted(std::int32_t size, std::int32_t& hint, FindMode mode,
                       const Compare& compare) {
    if (hint != -1 && compare(hint) == 0) {
        return {hint};
    }
    for (std::int32_t i = 0; i < size; ++i) {
        if (compare(i) == 0) {
            hint = i;
            return {i};
        }
    }
    return MissUnsorted(size, hint, mode);
}

/// The element at the hint, then those after it, then those before it.
template <class Compare>
LookupEnd FindAround(std::int32_t size, std::int32_t& hint, FindMode mode, const Compare& compare) {
    if (hint != -1 && compare(hint) == 0) {
        return {hint};
    }
    const std::int32_t start = hint + 1;
    for (std::int32_t step = 0; step < size; ++step) {
        const std::int32_t i = start + step < size ? start + step : start + step - size;
        if (i != hint && compare(i) == 0) {
            // Deliberate: FindInsertPos gives -1 for an equal element that isn't under the hint,
            // while the hint's own element is found in every mode.
            // FindInsertPosMissesWhatIsNotUnderTheHint holds it.
            if (mode == FindInsertPos) {
                return NotFound(hint);
            }
            hint = i;
            return {i};
        }
    }
    return MissUnsorted(size, hint, mode);
}

}  // namespace etabulon::detail
