#include "etabulon/cumul/ETabulonTypeNumeric.h"

#include "cumul/ExtremeFolds.h"
#include "cumul/RowFold.h"

#include <functional>

namespace etabulon {
namespace {

using detail::CodeOfExtremeFold;
using detail::FoldEffect;
using detail::MaxFold;
using detail::MinFold;

constexpr unsigned short kNumericIcon = 16805;

constexpr unsigned int kMinText = 10700;
constexpr unsigned int kMaxText = 10701;
constexpr unsigned int kAvgText = 10702;
constexpr unsigned int kSumText = 10703;
constexpr unsigned int kCodeMinText = 10709;
constexpr unsigned int kCodeMaxText = 10710;

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

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionMin::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionMax::FunctionMax()
    : ETabulonCumulFunc("MAX", Chaine::Load(kMaxText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionMax::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionCodeMin::FunctionCodeMin()
    : ETabulonCumulFunc("CODEMIN", Chaine::Load(kCodeMinText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionCodeMin::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

int ETabulonTypeNumeric::FunctionCodeMin::ResultType(int /*type*/) const { return TYPE_CHAINE; }

// Deliberate: 0 here and 4 for the highest, though both are texts, which have no declared size.
// Views make columns by it. CodeFunctionsDifferInResultSize holds it.
unsigned int ETabulonTypeNumeric::FunctionCodeMin::ResultSize(unsigned int /*size*/) const {
    return 0;
}

ETabulonTypeNumeric::FunctionCodeMax::FunctionCodeMax()
    : ETabulonCumulFunc("CODEMAX", Chaine::Load(kCodeMaxText), nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionCodeMax::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

int ETabulonTypeNumeric::FunctionCodeMax::ResultType(int /*type*/) const { return TYPE_CHAINE; }

unsigned int ETabulonTypeNumeric::FunctionCodeMax::ResultSize(unsigned int /*size*/) const {
    return 4;
}

ETabulonTypeNumeric::FunctionSum::FunctionSum() : FunctionSum("SUM", Chaine::Load(kSumText)) {}

ETabulonTypeNumeric::FunctionSum::FunctionSum(const Chaine& code, const Chaine& displayName)
    : ETabulonCumulFunc(code, displayName, nullptr) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionSum::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

ETabulonTypeNumeric::FunctionAvg::FunctionAvg() : FunctionSum("AVG", Chaine::Load(kAvgText)) {}

ETabulonCumulBuffer* ETabulonTypeNumeric::FunctionAvg::Start(int type, unsigned int size) {
    return new Exec(this, type, size);
}

}  // namespace etabulon
