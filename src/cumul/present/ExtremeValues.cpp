#include "cumul/ExtremeFolds.h"
#include "cumul/RowFold.h"
#include "cumul/present/PresentFold.h"
#include "cumul/present/PresentFunction.h"
#include "cumul/present/StateFold.h"
#include "foundation/EVariantOrderKey.h"

#include <functional>
#include <string>

namespace etabulon::detail {
namespace {

/// The extreme of values that aren't numbers, in the order by value. Equal values are the same, so
/// that it doesn't matter which of them stays.
template <class Better>
struct KeyedExtremeFold : PresentOnly {
    struct State {
        EVariant value;
        std::string key;  // empty: no value yet
    };
    using Value = const EVariant&;

    static void Add(State& state, const EVariant& value) {
        thread_local std::string key;
        key.clear();
        AppendOrderKey(value, key);
        Offer(state, value, key);
    }
    static void Merge(State& state, const State& from) {
        if (!from.key.empty()) {
            Offer(state, from.value, from.key);
        }
    }
    static std::optional<EVariant> Finish(const State& state, double /*argument*/) {
        return state.key.empty() ? std::nullopt : std::optional(state.value);
    }

private:
    static void Offer(State& state, const EVariant& value, const std::string& key) {
        if (state.key.empty() || Better{}(key, state.key)) {
            state.value = value;
            state.key = key;
        }
    }
};

template <class NumberFold, class Better>
ETabulonCumulBuffer* StartExtreme(ETabulonCumulFunc* function, int type, unsigned int size,
                                  double argument) {
    return TypeInfo(type).valueClass == EValueClass::Number
               ? StartPresent<NumberFold>(function, type, size, argument)
               : StartState<KeyedExtremeFold<Better>>(function, type, size, argument);
}

}  // namespace

const PresentKind kLowest = {"LOWEST", "Valeur la plus basse", PresentKind::For::All,
                             PresentKind::Result::Value, &StartExtreme<MinFold, std::less<>>};
const PresentKind kHighest = {"HIGHEST", "Valeur la plus haute", PresentKind::For::All,
                              PresentKind::Result::Value, &StartExtreme<MaxFold, std::greater<>>};
const PresentKind kCodeLowest = {"CODELOWEST", "Elément le plus bas",
                                 PresentKind::For::NumbersAndDates, PresentKind::Result::Code,
                                 &StartPresent<CodeOfExtremeFold<std::less<>>>};
const PresentKind kCodeHighest = {"CODEHIGHEST", "Elément le plus haut",
                                  PresentKind::For::NumbersAndDates, PresentKind::Result::Code,
                                  &StartPresent<CodeOfExtremeFold<std::greater<>>>};

}  // namespace etabulon::detail
