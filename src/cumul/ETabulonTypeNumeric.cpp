#include "etabulon/cumul/ETabulonTypeNumeric.h"

#include <functional>

namespace etabulon {
namespace {

constexpr unsigned short kNumericIcon = 16805;

constexpr unsigned kMinText = 10700;
constexpr unsigned kMaxText = 10701;
constexpr unsigned kAvgText = 10702;
constexpr unsigned kSumText = 10703;
constexpr unsigned kCodeMinText = 10709;
constexpr unsigned kCodeMaxText = 10710;

template <class Better>
class ExtremeBuffer : public ETabulonCumulBufferContext {
public:
    using ETabulonCumulBufferContext::ETabulonCumulBufferContext;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& context) override {
        const ETabulonValue& best = Result();
        if (!best.IsNull() && !Better{}(value, best.Data())) {
            return;  // strict: of equal values the first keeps its place and its context
        }
        const bool anyModified = modified || (!best.IsNull() && best.IsModified());
        SetResult(value, anyModified);
        SetContext(context);
    }
};

template <class Better>
class CodeOfExtremeBuffer : public ETabulonCumulBufferContext {
public:
    using ETabulonCumulBufferContext::ETabulonCumulBufferContext;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& context) override {
        // A missing value leaves no extreme behind, so that the next record takes over whatever its
        // value is.
        if (!extreme_.IsNull() && !Better{}(value, extreme_.Data())) {
            return;
        }
        extreme_.Refill(value);
        // Deliberate: the flag of an earlier extreme doesn't carry over, as it does for the extreme
        // itself: the code is the record's own, and says nothing of the records before.
        // CodeOfExtremeForgetsEarlierFlags holds it.
        SetResult(context.SingleCode().Data(), modified);
        SetContext(context);
    }

private:
    ETabulonValue extreme_;
};

}  // namespace

class ETabulonTypeNumeric::FunctionMin::Exec final : public ExtremeBuffer<std::less<>> {
    using ExtremeBuffer::ExtremeBuffer;
};
class ETabulonTypeNumeric::FunctionMax::Exec final : public ExtremeBuffer<std::greater<>> {
    using ExtremeBuffer::ExtremeBuffer;
};
class ETabulonTypeNumeric::FunctionCodeMin::Exec final : public CodeOfExtremeBuffer<std::less<>> {
    using CodeOfExtremeBuffer::CodeOfExtremeBuffer;
};
class ETabulonTypeNumeric::FunctionCodeMax::Exec final
    : public CodeOfExtremeBuffer<std::greater<>> {
    using CodeOfExtremeBuffer::CodeOfExtremeBuffer;
};

class ETabulonTypeNumeric::FunctionSum::Exec final : public ETabulonCumulBuffer {
public:
    using ETabulonCumulBuffer::ETabulonCumulBuffer;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& /*context*/) override {
        const ETabulonValue& sum = Result();
        if (sum.IsNull()) {
            SetResult(value, modified);
        } else {
            SetResult(sum.Data() + value, modified || sum.IsModified());
        }
    }
};

/// The base result is the sum; what Result gives is made from it.
class ETabulonTypeNumeric::FunctionAvg::Exec final : public ETabulonCumulBuffer {
public:
    using ETabulonCumulBuffer::ETabulonCumulBuffer;
    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& /*context*/) override {
        const ETabulonValue& sum = ETabulonCumulBuffer::Result();
        if (sum.IsNull()) {
            SetResult(value, modified);
        } else {
            SetResult(sum.Data() + value, modified || sum.IsModified());
        }
        ++counter_;
    }
    const ETabulonValue& Result() const override {
        const ETabulonValue& sum = ETabulonCumulBuffer::Result();
        if (counter_ != 0 && !sum.IsNull()) {
            EVariant quotient = sum.Data();
            quotient /= EVariant(counter_);
            average_ = ETabulonValue(quotient, Chaine(), sum.IsModified());
        } else {
            average_ = ETabulonValue::Null;
        }
        return average_;
    }

private:
    std::uint32_t counter_ = 0;
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
