#include "cumul/CellPlan.h"

#include "foundation/EVariantAccess.h"
#include "values/ETabulonValueAccess.h"

namespace etabulon::detail {
void FoldValues(const CellPlan& plan, const BlockRows& rows, unsigned int column) {
    EFieldKey fields;
    ETabulonPrimaryKey key;
    constexpr std::size_t kNoRecord = static_cast<std::size_t>(-1);
    std::size_t read = kNoRecord;
    ForEachRecord(rows, [&](std::size_t at, CellPlan::Rows rowsOfRecord) {
        const EBlockIndex record = rows.records[at];
        if (plan.needsKey && at != read) {
            read = at;
            rows.block->ReadKey(record, fields);
            key.Set(fields, rows.block->Position(record));
        }
        RecordReading reading;
        reading.record = NumberAfter(rows.firstNumber, at);
        plan.fold(plan, rowsOfRecord, rows.block->Value(column, record), &key, reading);
    });
}

bool IsNumberCell(const EVariant& blank) {
    const ETypeInfo& info = TypeInfo(blank.Type());
    // A missing blank (a type that Init refuses) takes the type of the first value.
    return !blank.IsMissing() && info.IsFixedSize() && info.naturalSize <= sizeof(std::uint64_t);
}

void ReadHeld(const NumberState& state, const EVariant& blank, ETabulonValue& value) {
    if (state.held != Held::Value) {
        return ReadHeld(Widened(state, blank), blank, value);
    }
    ETabulonValueAccess::RefillWord(value, blank, state.bits);
}

void ReadHeld(const WideState& state, const EVariant& blank, ETabulonValue& value) {
    switch (state.held) {
        case Held::Nothing:
            value = ETabulonValue::Null;
            break;
        case Held::Special:
            value = ETabulonValue::Special;
            break;
        default:
            // A ValNormal even of a missing value, with the text still to be made.
            value = ETabulonValue(blank, Chaine(), /*modified=*/false);
            value.SetData(state.value);
            break;
    }
}

void ReadHeld(const CodeState& state, const EVariant& blank, ETabulonValue& value) {
    if (state.held != Held::Value) {
        value = state.held == Held::Nothing ? ETabulonValue::Null : ETabulonValue::Special;
        return;
    }
    value = ETabulonValue(blank, Chaine(), /*modified=*/false);
    value.SetData(state.code);
}

WideState Widened(const NumberState& state, const EVariant& blank) {
    WideState wide;
    wide.held = state.held == Held::Missing ? Held::Value : state.held;
    wide.counter = state.counter;
    if (state.held == Held::Value) {
        wide.value = blank;
        EVariantAccess::PutWord(wide.value, state.bits);
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
