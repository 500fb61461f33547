#include "etabulon/cumul/PresentFunctions.h"

#include "cumul/present/PresentFunction.h"
#include "etabulon/foundation/EDataType.h"

#include <string>

namespace etabulon {
namespace {

using detail::PresentKind;

const PresentKind* const kKinds[] = {
    &detail::kCodeHighest, &detail::kCodeLowest, &detail::kCountValues, &detail::kDistinct,
    &detail::kFirst,       &detail::kHighest,    &detail::kLowest,      &detail::kMean,
    &detail::kMedian,      &detail::kStdDev,     &detail::kStdDevP,
};

constexpr double kHalf = 50;  // of P50, which is the median

class PresentFunction final : public ETabulonCumulFunc {
public:
    PresentFunction(const PresentKind& kind, std::string_view code, double argument)
        : ETabulonCumulFunc(Chaine(code), Chaine(kind.displayName), nullptr),
          kind_(kind),
          argument_(argument) {}

    [[nodiscard]] ETabulonCumulBuffer* Start(int type, unsigned int size) override {
        return kind_.start(this, type, size, argument_);
    }
    [[nodiscard]] int ResultType(int type) const override {
        switch (kind_.result) {
            case PresentKind::Result::Count:
                return TYPE_UINT32;
            case PresentKind::Result::Real:
                return TYPE_DOUBLE;
            case PresentKind::Result::Code:
                return TYPE_CHAINE;
            default:
                return type;
        }
    }
    [[nodiscard]] unsigned int ResultSize(unsigned int size) const override {
        return kind_.result == PresentKind::Result::Value ? size : 0;
    }

private:
    const PresentKind& kind_;
    double argument_;
};

bool HasKind(int type, const PresentKind& kind) {
    const EValueClass values = TypeInfo(type).valueClass;
    switch (kind.variables) {
        case PresentKind::For::Numbers:
            return values == EValueClass::Number;
        case PresentKind::For::NumbersAndDates:
            return values == EValueClass::Number || values == EValueClass::Date;
        default:
            return true;
    }
}

/// The number in P1 to P99; 0 for another code.
unsigned int PercentOf(std::string_view code) {
    const bool isOne = code.size() == 2 || (code.size() == 3 && code[1] != '0');
    if (!isOne || (code.front() != 'P' && code.front() != 'p')) {
        return 0;
    }
    unsigned int percent = 0;
    for (const char digit : code.substr(1)) {
        if (digit < '0' || digit > '9') {
            return 0;
        }
        percent = percent * 10 + static_cast<unsigned int>(digit - '0');
    }
    return percent;
}

}  // namespace

ERef<ETabulonCumulFunc> FindPresentFunction(const Chaine& code, int type) {
    for (const PresentKind* const kind : kKinds) {
        if (HasKind(type, *kind) && Chaine::EqualsFolded(code.View(), kind->code)) {
            return MakeRef<PresentFunction>(*kind, kind->code, kHalf);
        }
    }
    const unsigned int percent = PercentOf(code.View());
    if (percent == 0 || !HasKind(type, detail::kPercentile)) {
        return {};
    }
    return MakeRef<PresentFunction>(detail::kPercentile, "P" + std::to_string(percent),
                                    static_cast<double>(percent));
}

std::vector<Chaine> PresentFunctionCodes(int type) {
    std::vector<Chaine> codes;
    for (const PresentKind* const kind : kKinds) {
        if (HasKind(type, *kind)) {
            codes.emplace_back(kind->code);
        }
    }
    if (HasKind(type, detail::kPercentile)) {
        codes.emplace_back("P90");
    }
    return codes;
}

}  // namespace etabulon
