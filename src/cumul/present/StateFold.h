#pragma once

#include "cumul/CellPlan.h"
#include "cumul/RowFold.h"

#include <optional>
#include <type_traits>

namespace etabulon::detail {

// A fold with a state of its own:
//
//     struct State;                    begins over no records; a multiple of 8 bytes
//     using Value = double, bool (whether there is one), or const EVariant&;
//     static void Add(State& state, Value value);
//     static void AddMissing(State& state);
//     static void Merge(State& state, const State& from);    as if the records of `from` came last
//     static std::optional<EVariant> Finish(const State& state, double argument);
//
// Its buffer and its packed cells are made from these.

/// The loops of such a fold over the rows of packed cells.
template <class Fold>
struct StateFold {
    using State = typename Fold::State;
    using Value = typename Fold::Value;
    static_assert(sizeof(State) % sizeof(std::uint64_t) == 0 &&
                  alignof(State) <= alignof(std::uint64_t));

    [[nodiscard]] static Value ValueOf(const EVariant& value) {
        if constexpr (std::is_same_v<Value, double>) {
            return value.AsDouble();
        } else if constexpr (std::is_same_v<Value, bool>) {
            return true;
        } else {
            return value;
        }
    }

    static void Rows(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                     const ETabulonPrimaryKey* /*key*/, RecordReading& /*reading*/) {
        if (value.IsMissing()) {
            for (std::byte* const row : rows) {
                Fold::AddMissing(plan.StateIn<State>(row));
            }
            return;
        }
        const Value read = ValueOf(value);
        for (std::byte* const row : rows) {
            Fold::Add(plan.StateIn<State>(row), read);
        }
    }

    static void Block(const CellPlan& plan, const BlockRows& rows, unsigned int column) {
        const ERecordBlock::Column& from = rows.block->At(column);
        if (from.words == nullptr || std::is_same_v<Value, const EVariant&>) {
            return FoldValues(plan, rows, column);
        }
        switch (from.type->storage) {
            case EStorage::Int32:
                return Words<std::int32_t>(plan, rows, from);
            case EStorage::Int64:
                return Words<std::int64_t>(plan, rows, from);
            case EStorage::UInt32:
                return Words<std::uint32_t>(plan, rows, from);
            case EStorage::Double:
                return Words<double>(plan, rows, from);
            default:
                return FoldValues(plan, rows, column);
        }
    }

    static void Merge(const CellPlan& plan, std::byte* into, std::byte* from,
                      std::uint32_t /*after*/) {
        Fold::Merge(plan.StateIn<State>(into), plan.StateIn<State>(from));
    }

    static void Result(const CellPlan& plan, std::byte* row, ETabulonValue& result) {
        Read(plan.StateIn<State>(row), plan.argument, result);
    }
    static void Read(const State& state, double argument, ETabulonValue& result) {
        if (const std::optional<EVariant> finished = Fold::Finish(state, argument)) {
            result.Refill(*finished);
        } else {
            result = ETabulonValue::Null;
        }
    }

private:
    template <class T>
    static void Words(const CellPlan& plan, const BlockRows& rows,
                      const ERecordBlock::Column& from) {
        if constexpr (!std::is_same_v<Value, const EVariant&>) {
            ForEachRecord(rows, [&](std::size_t at, CellPlan::Rows rowsOfRecord) {
                const EBlockIndex record = rows.records[at];
                const bool isMissing = from.IsMissingWord(record);
                const auto value = static_cast<Value>(NumberAt<T>(from.words[record]));
                for (std::byte* const row : rowsOfRecord) {
                    auto& state = plan.StateIn<State>(row);
                    isMissing ? Fold::AddMissing(state) : Fold::Add(state, value);
                }
            });
        }
    }
};

/// The buffer of such a fold.
template <class Fold>
class StateBuffer final : public ETabulonCumulBuffer, public PackedFold {
public:
    StateBuffer(ETabulonCumulFunc* function, int type, unsigned int size, double argument)
        : ETabulonCumulBuffer(function, type, size), argument_(argument) {}

    void AddValue(const EVariant& value, bool modified,
                  const ETabulonPrimaryKey& /*context*/) override {
        if (value.IsMissing()) {
            Fold::AddMissing(state_);
            return;
        }
        Fold::Add(state_, StateFold<Fold>::ValueOf(value));
        isModified_ = isModified_ || modified;
    }
    [[nodiscard]] const ETabulonValue& Result() const override {
        StateFold<Fold>::Read(state_, argument_, result_);
        result_.SetModified(isModified_ && !result_.IsNull());
        return result_;
    }
    void PlanCells(CellPlan& plan) const override {
        using Loops = StateFold<Fold>;
        plan.state = &kStateKind<typename Fold::State>;
        plan.content = &kContent<Fold>;
        plan.fold = &Loops::Rows;
        plan.foldBlock = &Loops::Block;
        plan.merge = &Loops::Merge;
        plan.result = &Loops::Result;
        plan.argument = argument_;
    }

private:
    typename Fold::State state_;
    double argument_;
    bool isModified_ = false;
    mutable ETabulonValue result_;
};

/// The PresentKind::Start of such a fold.
template <class Fold>
ETabulonCumulBuffer* StartState(ETabulonCumulFunc* function, int type, unsigned int size,
                                double argument) {
    return new StateBuffer<Fold>(function, type, size, argument);
}

/// A State that has nothing to keep of records without a value.
struct PresentOnly {
    template <class State>
    static void AddMissing(State& /*state*/) noexcept {}
};

}  // namespace etabulon::detail
