#pragma once

#include "cumul/CumulFold.h"

namespace etabulon::detail {

struct MinFold : CumulFold {
    static constexpr bool kKeepsContext = true;
    static constexpr bool kKeepsWider = true;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& lowest, const Value& value) {
        if (!lowest.IsNew() && !lowest.IsAbove(value)) {
            return FoldEffect::Kept;  // strict: of equal values the first stays
        }
        lowest.Store(value);
        return FoldEffect::Joined;
    }
};

struct MaxFold : CumulFold {
    static constexpr bool kKeepsContext = true;
    static constexpr bool kKeepsWider = true;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& highest, const Value& value) {
        if (!highest.IsNew() && !highest.IsBelow(value)) {
            return FoldEffect::Kept;
        }
        highest.Store(value);
        return FoldEffect::Joined;
    }
};

template <class Better>
struct CodeOfExtremeFold : CumulFold {
    static constexpr bool kKeepsContext = true;
    static constexpr bool kNeedsKey = true;
    // A missing value is below all others.
    static constexpr bool kRestartsAfterMissing = Better{}(0, 1);
    static bool IsBetter(const EVariant& value, const EVariant& than) {
        return Better{}(value, than);
    }
    template <class Accumulator>
    static FoldEffect Step(Accumulator& code, const EVariant& value,
                           const ETabulonPrimaryKey& key) {
        // A missing value stores no extreme, so that the next record replaces it whatever its value
        // is.
        if (value.IsMissing()) {
            code.NoteMissing();
        }
        if (!code.Extreme().IsMissing() && !Better{}(value, code.Extreme())) {
            return FoldEffect::Kept;
        }
        code.StoreExtreme(value);
        code.Store(key.SingleCode().Data());
        // Deliberate: the flag of an earlier extreme doesn't carry over, as it does for the extreme
        // itself: the code is the record's own, and says nothing of the records before.
        // CodeOfExtremeForgetsEarlierFlags holds it.
        return FoldEffect::Replaced;
    }
};

}  // namespace etabulon::detail
