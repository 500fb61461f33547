#include "etabulon/cumul/ETabulonTypeNumeric.h"

#include "cumul/RowFold.h"

#include <functional>

namespace etabulon {
namespace {

using detail::FoldEffect;

constexpr unsigned short kNumericIcon = 16805;

constexpr unsigned kMinText = 10700;
constexpr unsigned kMaxText = 10701;
constexpr unsigned kAvgText = 10702;
constexpr unsigned kSumText = 10703;
constexpr unsigned kCodeMinText = 10709;
constexpr unsigned kCodeMaxText = 10710;

struct MinFold : detail::CumulFold {
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

struct MaxFold : detail::CumulFold {
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
struct CodeOfExtremeFold : detail::CumulFold {
    static constexpr bool kKeepsContext = true;
    static constexpr bool kNeedsKey = true;
    template <class Accumulator>
    static FoldEffect Step(Accumulator& code, const EVariant& value,
                           const ETabulonPrimaryKey& key) {
        // A missing value stores no extreme, so that the next record replaces it whatever its value
        // is.
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

struct SumFold : detail::CumulFold {
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& sum, const Value& value) {
        if (sum.IsNew()) {
            sum.Store(value);
        } else {
            sum.Add(value);
        }
        return FoldEffect::Joined;
    }
};

struct AvgFold : SumFold {
    using Content = SumFold;
    static constexpr bool kCounts = true;
    template <class Accumulator, class Value>
    static FoldEffect Step(Accumulator& sum, const Value& value) {
        sum.CountRecord();
        return SumFold::Step(sum, value);
    }
    [[nodiscard]] static ETabulonValue Finish(const ETabulonValue& sum, std::uint32_t records) {
        if (records == 0 || sum.IsNull()) {
            return ETabulonValue::Null;
        }
        EVariant quotient = sum.Data();
        quotient /= EVariant(records);
        return ETabulonValue(quotient, Chaine(), sum.IsModified());
    }
};

}  // namespace

class ETabulonTypeNumeric::FunctionMin::Exec final : public detail::FoldBuffer<MinFold> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonTypeNumeric::FunctionMax::Exec final : public detail::FoldBuffer<MaxFold> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonTypeNumeric::FunctionCodeMin::Exec final
    : public detail::FoldBuffer<CodeOfExtremeFold<std::less<>>> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonTypeNumeric::FunctionCodeMax::Exec final
    : public detail::FoldBuffer<CodeOfExtremeFold<std::greater<>>> {
    using FoldBuffer::FoldBuffer;
};
class ETabulonTypeNumeric::FunctionSum::Exec final : public detail::FoldBuffer<SumFold> {
    using FoldBuffer::FoldBuffer;
};

/// Each call of Result makes the average from the sum.
class ETabulonTypeNumeric::FunctionAvg::Exec final : public detail::FoldBuffer<AvgFold> {
public:
    using FoldBuffer::FoldBuffer;
    const ETabulonValue& Result() const override {
        average_ = AvgFold::Finish(Held(), Records());
        return average_;
    }

private:
    mutable ETabulonValue average_;
};

ETabulonTypeNumeric::ETabulonTypeNumeric()
    : ETabulonType(LateIcon{kNumericIcon, kNumericIcon}, GenericNumeric) {
    AddFunction(new FunctionMin, /*addRef=*/false);
    AddFunction(new FunctionCodeMin, /*addRef=*/false);
    AddFunction(new FunctionMax, /*addRef=*/false);
    AddFunction(new FunctionCodeMax, /*addRef=*/false);
    AddFunction(new FunctionSum, /*addRef=*/false);
    AddFunction(new FunctionAvg, /*addRef=*/false);
}

ETabulonTypeNumeric::FunctionMin::FunctionMin()
    : ETabulonCumulFunc("MIN", Chaine::Load(kMinText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionMin::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionMax::FunctionMax()
    : ETabulonCumulFunc("MAX", Chaine::Load(kMaxText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionMax::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionCodeMin::FunctionCodeMin()
    : ETabulonCumulFunc("CODEMIN", Chaine::Load(kCodeMinText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionCodeMin::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

int ETabulonTypeNumeric::FunctionCodeMin::ResultType(int /*type*/) const { return TYPE_CHAINE; }

// Deliberate: 0 here and 4 for the highest, though both are texts, which have no declared size.
// Views make columns by it. CodeFunctionsDifferInResultSize holds it.
unsigned ETabulonTypeNumeric::FunctionCodeMin::ResultSize(unsigned /*size*/) const { return 0; }

ETabulonTypeNumeric::FunctionCodeMax::FunctionCodeMax()
    : ETabulonCumulFunc("CODEMAX", Chaine::Load(kCodeMaxText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionCodeMax::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

int ETabulonTypeNumeric::FunctionCodeMax::ResultType(int /*type*/) const { return TYPE_CHAINE; }

unsigned ETabulonTypeNumeric::FunctionCodeMax::ResultSize(unsigned /*size*/) const { return 4; }

ETabulonTypeNumeric::FunctionSum::FunctionSum() : FunctionSum("SUM", Chaine::Load(kSumText)) {}

ETabulonTypeNumeric::FunctionSum::FunctionSum(const Chaine& code, const Chaine& displayName)
    : ETabulonCumulFunc(code, displayName, nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionSum::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionAvg::FunctionAvg() : FunctionSum("AVG", Chaine::Load(kAvgText)) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionAvg::Start(int type, unsigned size) {
    return new Exec(this, type, size);
}

}  // namespace etabulon
