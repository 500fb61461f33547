#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"

#include "cumul/RowFold.h"
#include "etabulon/foundation/EDataType.h"

#include <type_traits>

namespace etabulon {
namespace {

using detail::FoldEffect;

constexpr unsigned int kCountText = 10704;
constexpr unsigned int kLastText = 10705;
constexpr unsigned int kCommonValText = 10706;

struct CountFold : detail::CumulFold {
    static constexpr bool kReadsValues = false;
    static constexpr bool kCounts = true;
    // Deliberate: every record counts, also one without a value, and a count is never marked as
    // modified, whatever the values are. CountIgnoresValuesAndFlags holds it.
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& count, const Value& /*value*/) {
        const std::uint32_t records = count.CountRecord();
        if constexpr (std::is_same_v<Value, EVariant>) {
            count.Store(EVariant(records));
        } else {
            count.Store(records);
        }
        return FoldEffect::Kept;
    }
};

struct LastFold : detail::CumulFold {
    static constexpr detail::FoldMerge kMerge = detail::FoldMerge::Latest;
    static constexpr bool kKeepsContext = true;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& last, const Value& value) {
        last.Store(value);
        return FoldEffect::Replaced;
    }
};

struct CommonValFold : detail::CumulFold {
    static constexpr detail::FoldMerge kMerge = detail::FoldMerge::Common;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& common, const Value& value) {
        if (common.IsNew()) {
            common.Store(value);
            return FoldEffect::Joined;
        }
        if (common.Equals(value)) {
            // Deliberate: agreement doesn't mark the result, also where the new value is modified.
            // CommonValueDropsTheFlagOfWhatAgrees holds it.
            return FoldEffect::Kept;
        }
        common.MakeSpecial();
        return FoldEffect::Joined;
    }
};

}  // namespace

class ETabulonCumulFuncCount::Exec final : public detail::FoldBuffer<CountFold> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonCumulFuncLast::Exec final : public detail::FoldBuffer<LastFold> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonCumulFuncCommonVal::Exec final : public detail::FoldBuffer<CommonValFold> {
    using FoldBuffer::FoldBuffer;
};

ETabulonCumulFuncCount::ETabulonCumulFuncCount()
    : ETabulonCumulFunc("COUNT", Chaine::Load(kCountText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncCount::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

int ETabulonCumulFuncCount::ResultType(int /*type*/) const { return TYPE_UINT32; }

ETabulonCumulFuncLast::ETabulonCumulFuncLast()
    : ETabulonCumulFunc("LAST", Chaine::Load(kLastText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncLast::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

ETabulonCumulFuncCommonVal::ETabulonCumulFuncCommonVal()
    : ETabulonCumulFunc("COMMONVAL", Chaine::Load(kCommonValText), nullptr) {}

ETabulonCumulBuffer* ETabulonCumulFuncCommonVal::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

}  // namespace etabulon
