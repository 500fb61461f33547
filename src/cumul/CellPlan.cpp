#include "cumul/CellPlan.h"

namespace etabulon::detail {
namespace {

/// A ValNormal even of a missing value, with the text still to be made.
ETabulonValue NormalValue(const EVariant& value, const EVariant& blank) {
    ETabulonValue result(blank, Chaine(), /*modified=*/false);
    result.SetData(value);
    return result;
}

}  // namespace

void FoldValues(const CellPlan& plan, const BlockRows& rows, unsigned column) {
    EFieldKey fields;
    ETabulonPrimaryKey key;
    constexpr std::size_t kNoRecord = static_cast<std::size_t>(-1);
    std::size_t read = kNoRecord;
    ForEachRecord(rows, [&](EBlockIndex record, CellPlan::Rows rowsOfRecord) {
        if (plan.needsKey && record != read) {
            read = record;
            rows.block->ReadKey(record, fields);
            key.Set(fields, rows.block->Position(record));
        }
        NumberReading none;
        plan.fold(plan, rowsOfRecord, rows.block->Value(column, record), &key, none);
    });
}

bool IsNumberCell(const EVariant& blank) {
    const ETypeInfo& info = TypeInfo(blank.Type());
    // A missing blank (a type that Init refuses) takes the type of the first value.
    return !blank.IsMissing() && info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t);
}

ETabulonValue HeldValue(const NumberState& state, const EVariant& blank) {
    if (state.held == Held::Value) {
        EVariant number;
        number.Init(blank.Type(), blank.Size(), &state.bits);
        if (!number.IsMissing()) {
            return ETabulonValue(number, Chaine(), /*modified=*/false);
        }
    }
    return HeldValue(Widened(state, blank), blank);
}

ETabulonValue HeldValue(const WideState& state, const EVariant& blank) {
    switch (state.held) {
        case Held::Nothing:
            return ETabulonValue::Null;
        case Held::Special:
            return ETabulonValue::Special;
        default:
            return NormalValue(state.value, blank);
    }
}

ETabulonValue HeldValue(const CodeState& state, const EVariant& blank) {
    return state.held == Held::Nothing ? ETabulonValue::Null : NormalValue(state.code, blank);
}

WideState Widened(const NumberState& state, const EVariant& blank) {
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

NumberState Narrowed(const WideState& wide) {
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

}  // namespace etabulon::detail
