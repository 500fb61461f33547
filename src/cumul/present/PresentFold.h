#pragma once

#include "cumul/Accumulators.h"
#include "cumul/CumulFold.h"

#include <type_traits>

namespace etabulon::detail {

/// A fold over the values that are there.
template <class Fold>
struct PresentFold : Fold {
    static constexpr bool kRestartsAfterMissing = false;

    template <class Accumulator, class Value, class... Key>
    static FoldEffect Step(Accumulator& result, const Value& value, const Key&... key) {
        if constexpr (std::is_same_v<Value, MissingNumber>) {
            return FoldEffect::Kept;
        } else {
            if constexpr (std::is_same_v<Value, EVariant>) {
                if (value.IsMissing()) {
                    return FoldEffect::Kept;
                }
            }
            return Fold::Step(result, value, key...);
        }
    }
};

/// The PresentKind::Start of such a fold.
template <class Fold>
ETabulonCumulBuffer* StartPresent(ETabulonCumulFunc* function, int type, unsigned int size,
                                  double /*argument*/) {
    return new FoldBuffer<PresentFold<Fold>>(function, type, size);
}

}  // namespace etabulon::detail
