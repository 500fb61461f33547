#include "cumul/RowFold.h"
#include "cumul/present/PresentFold.h"
#include "cumul/present/PresentFunction.h"

namespace etabulon::detail {
namespace {

struct FirstFold : CumulFold {
    static constexpr bool kKeepsContext = true;
    static constexpr FoldMerge kMerge = FoldMerge::Earliest;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& first, const Value& value) {
        if (!first.IsNew()) {
            return FoldEffect::Kept;
        }
        first.Store(value);
        return FoldEffect::Replaced;
    }
};

}  // namespace

const PresentKind kFirst = {"FIRST", "Première valeur", PresentKind::For::All,
                            PresentKind::Result::Value, &StartPresent<FirstFold>};

}  // namespace etabulon::detail
