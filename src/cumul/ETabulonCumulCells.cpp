#include "etabulon/cumul/ETabulonCumulCells.h"

#include "cumul/CumulStates.h"
#include "etabulon/cumul/ETabulonCumulFuncGeneral.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ETabulonTypeNumeric.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <new>
#include <typeinfo>
#include <utility>

namespace etabulon::detail {
namespace {

// By exact class and not by code: an application's own function may bear any code, and may derive
// from ours.
CumulKind KindOf(const ETabulonCumulFunc& function) {
    using Numeric = ETabulonTypeNumeric;
    static const struct {
        const std::type_info& type;
        CumulKind kind;
    } kKinds[] = {
        {typeid(ETabulonCumulFuncCount), CumulKind::Count},
        {typeid(ETabulonCumulFuncLast), CumulKind::Last},
        {typeid(ETabulonCumulFuncCommonVal), CumulKind::CommonVal},
        {typeid(Numeric::FunctionMin), CumulKind::Min},
        {typeid(Numeric::FunctionMax), CumulKind::Max},
        {typeid(Numeric::FunctionCodeMin), CumulKind::CodeMin},
        {typeid(Numeric::FunctionCodeMax), CumulKind::CodeMax},
        {typeid(Numeric::FunctionSum), CumulKind::Sum},
        {typeid(Numeric::FunctionAvg), CumulKind::Avg},
    };
    for (const auto& known : kKinds) {
        if (typeid(function) == known.type) {
            return known.kind;
        }
    }
    return CumulKind::Foreign;
}

enum class StateKind : std::uint8_t { Number = 0, Wide = 1, Code = 2, Foreign = 3 };

constexpr std::uint32_t kStateBytes[] = {sizeof(NumberState), sizeof(WideState), sizeof(CodeState),
                                         sizeof(ForeignState)};

StateKind StateOf(CumulKind kind, const EVariant& blank) {
    const ETypeInfo& info = TypeInfo(blank.Type());
    switch (kind) {
        case CumulKind::Foreign:
            return StateKind::Foreign;
        case CumulKind::CodeMin:
        case CumulKind::CodeMax:
            return StateKind::Code;
        default:
            // A blank that can't be made takes the type of its first value.
            return !blank.IsMissing() && info.IsFixedSize() &&
                           info.naturalSize <= sizeof(std::uint64_t)
                       ? StateKind::Number
                       : StateKind::Wide;
    }
}

WideState Expand(const NumberState& state, const EVariant& blank) {
    WideState wide;
    wide.held = state.held == Held::Missing ? Held::Value : state.held;
    wide.counter = state.counter;
    if (state.held == Held::Value) {
        wide.value.Init(blank.Type(), blank.Size(), &state.bits);
    } else if (state.held == Held::Missing) {
        wide.value = EVariant::Missing(blank.Type(), blank.Size());
    }
    return wide;
}

NumberState Shrink(const WideState& wide) {
    NumberState state;
    state.held = wide.held;
    state.counter = wide.counter;
    if (wide.held != Held::Value) {
        return state;
    }
    if (const void* bytes = wide.value.GetBuffer(); bytes != nullptr) {
        std::memcpy(&state.bits, bytes, wide.value.Size());
    } else {
        state.held = Held::Missing;
    }
    return state;
}

// ValNormal whether there is a value or not, with the text still to be made.
ETabulonValue NormalResult(const EVariant& value, const EVariant& blank) {
    ETabulonValue result(blank, Chaine(), false);
    result.SetData(value);
    return result;
}

ETabulonValue ResultOf(CumulKind kind, const WideState& state, const EVariant& blank) {
    if (state.held == Held::Nothing) {
        return ETabulonValue::Null;
    }
    if (state.held == Held::Special) {
        return ETabulonValue::Special;
    }
    if (kind != CumulKind::Avg) {
        return NormalResult(state.value, blank);
    }
    if (state.counter == 0) {
        return ETabulonValue::Null;
    }
    EVariant quotient = state.value;
    quotient /= EVariant(state.counter);
    return ETabulonValue(quotient, Chaine(), false);
}

ETabulonValue ResultOf(CumulKind kind, const NumberState& state, const EVariant& blank) {
    if (state.held == Held::Value && kind != CumulKind::Avg) {
        EVariant number;
        number.Init(blank.Type(), blank.Size(), &state.bits);
        if (!number.IsMissing()) {
            return ETabulonValue(number, Chaine(), false);
        }
    }
    return ResultOf(kind, Expand(state, blank), blank);
}

}  // namespace

using PlaceSpan = std::span<std::byte* const>;

struct CumulCells::Plan {
    /// The number that was read last: several functions often fold one variable.
    struct Reading {
        const EVariant* value = nullptr;
        std::uint64_t bits = 0;
        EStorage storage{};
        std::uint8_t scale = 0;
    };
    using FoldRows = void (*)(const Plan& plan, PlaceSpan rows, const EVariant& value,
                              const ETabulonPrimaryKey* context, Reading& reading);

    explicit Plan(ETabulonCumulFuncOnVar* adopted);

    template <class State>
    [[nodiscard]] State& StateIn(std::byte* row) const noexcept {
        return *std::launder(reinterpret_cast<State*>(row + offset));
    }
    /// The value as a number of the cell's own type; false where that wouldn't be exact.
    template <class T>
    [[nodiscard]] bool Read(const EVariant& value, T& number) const noexcept;

    static void FoldCount(const Plan& plan, PlaceSpan rows, const EVariant& value,
                          const ETabulonPrimaryKey* context, Reading& reading);
    template <CumulKind kind, class T>
    static void FoldNumbers(const Plan& plan, PlaceSpan rows, const EVariant& value,
                            const ETabulonPrimaryKey* context, Reading& reading);
    static void FoldConverted(const Plan& plan, PlaceSpan rows, const EVariant& value,
                              const ETabulonPrimaryKey* context, Reading& reading);
    static void FoldWides(const Plan& plan, PlaceSpan rows, const EVariant& value,
                          const ETabulonPrimaryKey* context, Reading& reading);
    static void FoldCodes(const Plan& plan, PlaceSpan rows, const EVariant& value,
                          const ETabulonPrimaryKey* context, Reading& reading);
    static void FoldForeign(const Plan& plan, PlaceSpan rows, const EVariant& value,
                            const ETabulonPrimaryKey* context, Reading& reading);
    template <class T>
    [[nodiscard]] static FoldRows NumberFold(CumulKind kind);
    [[nodiscard]] FoldRows ChooseFold() const;

    ERef<ETabulonCumulFuncOnVar> calculation;
    EVariant blank;  // what a first result is stored in
    FoldRows fold = nullptr;
    std::uint32_t offset = 0;  // within a row
    CumulKind kind;
    StateKind state;
    EStorage storage;
    std::uint8_t scale;
};

CumulCells::Plan::Plan(ETabulonCumulFuncOnVar* adopted)
    : calculation(ERef<ETabulonCumulFuncOnVar>::Adopt(adopted)),
      kind(KindOf(*calculation->Function())) {
    const ETabulonVariableDesc& variable = *calculation->Variable();
    ETabulonCumulFunc& function = *calculation->Function();
    blank.Init(static_cast<std::uint16_t>(function.ResultType(variable.DataType())),
               static_cast<std::uint16_t>(function.ResultSize(variable.DataSize())), nullptr);
    state = StateOf(kind, blank);
    storage = TypeInfo(blank.Type()).storage;
    scale = TypeInfo(blank.Type()).scale;
    fold = ChooseFold();
}

void CumulCells::Plan::FoldCount(const Plan& plan, PlaceSpan rows, const EVariant& /*value*/,
                                 const ETabulonPrimaryKey* /*context*/, Reading& /*reading*/) {
    for (std::byte* const row : rows) {
        auto& state = plan.StateIn<NumberState>(row);
        state.Put(++state.counter);
    }
}

template <class T>
bool CumulCells::Plan::Read(const EVariant& value, T& number) const noexcept {
    const void* const bytes = value.GetBuffer();
    const ETypeInfo& info = TypeInfo(value.Type());
    if (bytes == nullptr) {
        return false;
    }
    if (info.storage == storage && info.scale == scale) {
        std::memcpy(&number, bytes, sizeof number);
        return true;
    }
    if (info.storage > EStorage::UInt32 || scale != 0) {
        return false;  // no whole number, or not to be stored as one
    }
    const std::int64_t whole = value.AsInt64();
    bool fits = false;
    if constexpr (std::is_floating_point_v<T>) {
        constexpr std::int64_t kExact = std::int64_t{1} << std::numeric_limits<T>::digits;
        fits = whole >= -kExact && whole <= kExact;
    } else {
        fits = std::in_range<T>(whole);
    }
    number = static_cast<T>(whole);
    return fits;
}

template <CumulKind kind, class T>
void CumulCells::Plan::FoldNumbers(const Plan& plan, PlaceSpan rows, const EVariant& value,
                                   const ETabulonPrimaryKey* context, Reading& reading) {
    T number{};
    if (reading.value == &value && reading.storage == plan.storage && reading.scale == plan.scale) {
        std::memcpy(&number, &reading.bits, sizeof number);
    } else if (plan.Read(value, number)) {
        reading.value = &value;
        reading.storage = plan.storage;
        reading.scale = plan.scale;
        std::memcpy(&reading.bits, &number, sizeof number);
    } else {
        FoldConverted(plan, rows, value, context, reading);
        return;
    }
    for (std::byte* const row : rows) {
        FoldNumber<kind>(plan.StateIn<NumberState>(row), number);
    }
}

void CumulCells::Plan::FoldConverted(const Plan& plan, PlaceSpan rows, const EVariant& value,
                                     const ETabulonPrimaryKey* /*context*/, Reading& /*reading*/) {
    const bool missing = value.IsMissing();
    for (std::byte* const row : rows) {
        auto& state = plan.StateIn<NumberState>(row);
        if (missing) {
            FoldMissing(plan.kind, state);
        } else {
            WideState wide = Expand(state, plan.blank);
            FoldWide(plan.kind, wide, value, plan.blank);
            state = Shrink(wide);
        }
    }
}

void CumulCells::Plan::FoldWides(const Plan& plan, PlaceSpan rows, const EVariant& value,
                                 const ETabulonPrimaryKey* /*context*/, Reading& /*reading*/) {
    for (std::byte* const row : rows) {
        FoldWide(plan.kind, plan.StateIn<WideState>(row), value, plan.blank);
    }
}

void CumulCells::Plan::FoldCodes(const Plan& plan, PlaceSpan rows, const EVariant& value,
                                 const ETabulonPrimaryKey* context, Reading& /*reading*/) {
    for (std::byte* const row : rows) {
        FoldCode(plan.kind == CumulKind::CodeMin, plan.StateIn<CodeState>(row), value, plan.blank,
                 *context);
    }
}

void CumulCells::Plan::FoldForeign(const Plan& plan, PlaceSpan rows, const EVariant& value,
                                   const ETabulonPrimaryKey* context, Reading& /*reading*/) {
    for (std::byte* const row : rows) {
        plan.StateIn<ForeignState>(row).buffer->AddValue(value, /*modified=*/false, *context);
    }
}

template <class T>
CumulCells::Plan::FoldRows CumulCells::Plan::NumberFold(CumulKind kind) {
    switch (kind) {
        case CumulKind::Last:
            return &FoldNumbers<CumulKind::Last, T>;
        case CumulKind::CommonVal:
            return &FoldNumbers<CumulKind::CommonVal, T>;
        case CumulKind::Min:
            return &FoldNumbers<CumulKind::Min, T>;
        case CumulKind::Max:
            return &FoldNumbers<CumulKind::Max, T>;
        case CumulKind::Sum:
            return &FoldNumbers<CumulKind::Sum, T>;
        default:
            return &FoldNumbers<CumulKind::Avg, T>;
    }
}

CumulCells::Plan::FoldRows CumulCells::Plan::ChooseFold() const {
    switch (state) {
        case StateKind::Wide:
            return &FoldWides;
        case StateKind::Code:
            return &FoldCodes;
        case StateKind::Foreign:
            return &FoldForeign;
        default:
            break;
    }
    if (kind == CumulKind::Count) {
        return &FoldCount;
    }
    // Scaled numbers of one scale add and compare as the whole numbers that they are stored as.
    switch (storage) {
        case EStorage::Int32:
        case EStorage::Scaled32:
            return NumberFold<std::int32_t>(kind);
        case EStorage::Int64:
        case EStorage::Scaled64:
            return NumberFold<std::int64_t>(kind);
        case EStorage::UInt32:
            return NumberFold<std::uint32_t>(kind);
        case EStorage::Double:
            return NumberFold<double>(kind);
        default:
            return &FoldConverted;
    }
}

CumulCells::CumulCells(const ITabulonCumulFuncOnVarCollection& calculations) {
    const unsigned size = calculations.Size();
    plans_.reserve(size);
    for (unsigned index = 0; index < size; ++index) {
        Plan& plan = plans_.emplace_back(calculations.Calculation(index));
        plan.offset = rowBytes_;
        rowBytes_ += kStateBytes[static_cast<std::size_t>(plan.state)];
        needsContext_ =
            needsContext_ || plan.state == StateKind::Code || plan.state == StateKind::Foreign;
    }
}

CumulCells::CumulCells(CumulCells&& other) noexcept
    : plans_(std::move(other.plans_)),
      chunks_(std::move(other.chunks_)),
      rows_(std::exchange(other.rows_, 0)),
      rowBytes_(other.rowBytes_),
      needsContext_(other.needsContext_) {}

CumulCells& CumulCells::operator=(CumulCells&& other) noexcept {
    if (this != &other) {
        Free();
        plans_ = std::move(other.plans_);
        chunks_ = std::move(other.chunks_);
        rows_ = std::exchange(other.rows_, 0);
        rowBytes_ = other.rowBytes_;
        needsContext_ = other.needsContext_;
    }
    return *this;
}

CumulCells::~CumulCells() { Free(); }

unsigned CumulCells::Size() const noexcept { return static_cast<unsigned>(plans_.size()); }

std::uint32_t CumulCells::AddRow() {
    const std::uint32_t row = rows_;
    if (row % kChunkRows == 0 && chunks_.size() == row >> kChunkBits) {
        chunks_.push_back(
            std::unique_ptr<std::byte[]>(new std::byte[std::size_t{kChunkRows} * rowBytes_]));
    }
    ++rows_;
    Start(row);
    try {
        for (const Plan& plan : plans_) {
            if (plan.state == StateKind::Foreign) {
                const ETabulonVariableDesc& variable = *plan.calculation->Variable();
                plan.StateIn<ForeignState>(Place(row)).buffer = ERef<ETabulonCumulBuffer>::Adopt(
                    plan.calculation->Function()->Start(variable.DataType(), variable.DataSize()));
            }
        }
    } catch (...) {
        DropLastRow();
        throw;
    }
    return row;
}

// Fails never: what may fail is started afterwards.
void CumulCells::Start(std::uint32_t row) noexcept {
    for (const Plan& plan : plans_) {
        std::byte* const place = Place(row) + plan.offset;
        switch (plan.state) {
            case StateKind::Number:
                new (place) NumberState;
                break;
            case StateKind::Wide:
                new (place) WideState;
                break;
            case StateKind::Code:
                new (place) CodeState;
                break;
            case StateKind::Foreign:
                new (place) ForeignState;
                break;
        }
    }
}

void CumulCells::DropLastRow() noexcept {
    const std::uint32_t row = rows_ - 1;
    for (const Plan& plan : plans_) {
        switch (plan.state) {
            case StateKind::Number:
                break;
            case StateKind::Wide:
                std::destroy_at(&plan.StateIn<WideState>(Place(row)));
                break;
            case StateKind::Code:
                std::destroy_at(&plan.StateIn<CodeState>(Place(row)));
                break;
            case StateKind::Foreign:
                std::destroy_at(&plan.StateIn<ForeignState>(Place(row)));
                break;
        }
    }
    rows_ = row;
}

void CumulCells::Free() noexcept {
    bool trivial = true;
    for (const Plan& plan : plans_) {
        trivial = trivial && plan.state == StateKind::Number;
    }
    while (!trivial && rows_ != 0) {
        DropLastRow();
    }
    rows_ = 0;
    chunks_.clear();
}

void CumulCells::Fold(std::span<std::byte* const> places, std::span<const EVariant* const> values,
                      const ETabulonPrimaryKey* context) const {
    E_EXPECTS(values.size() == plans_.size());
    E_EXPECTS(!needsContext_ || context != nullptr);
    const EVariant* const* value = values.data();
    Plan::Reading reading;
    for (const Plan& plan : plans_) {
        plan.fold(plan, places, **value++, context, reading);
    }
}

ETabulonValue CumulCells::Result(std::uint32_t row, unsigned calculation) const {
    E_EXPECTS(calculation < plans_.size());
    const Plan& plan = plans_[calculation];
    switch (plan.state) {
        case StateKind::Number:
            return ResultOf(plan.kind, plan.StateIn<NumberState>(Place(row)), plan.blank);
        case StateKind::Wide:
            return ResultOf(plan.kind, plan.StateIn<WideState>(Place(row)), plan.blank);
        case StateKind::Code: {
            const auto& state = plan.StateIn<CodeState>(Place(row));
            return state.held == Held::Nothing ? ETabulonValue::Null
                                               : NormalResult(state.code, plan.blank);
        }
        default:
            return plan.StateIn<ForeignState>(Place(row)).buffer->Result();
    }
}

}  // namespace etabulon::detail
