#pragma once

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/foundation/EVariant.h"
#include "etabulon/values/ETabulonPrimaryKey.h"
#include "etabulon/values/ETabulonValue.h"

#include <cstdint>
#include <type_traits>

// A function is written once, as a fold: a struct with a Step over an accumulator. Its buffer
// (FoldBuffer, below) and its packed cells (RowFold.h) are made from that Step.

namespace etabulon::detail {

struct CellPlan;

/// What a step did to the result, which decides the modified flag.
enum class FoldEffect : std::uint8_t {
    Kept = 0,      // the result and its flag stay
    Replaced = 1,  // the result is this record's: modified if the record is
    Joined = 2,    // the result stands for several records: modified if one of them is
};

/// How the states of two groups of records become the state of all these records.
enum class FoldMerge : std::uint8_t {
    Steps = 0,     // a step takes the other group's value; numbers of records add up
    Latest = 1,    // the state whose record came last stays
    Earliest = 2,  // the state whose record came first stays
    Common = 3,    // the earlier group's value stays, unless the two differ
};

/// The properties of a fold, beside
///     template <class Accumulator, class Value>
///     static FoldEffect Step(Accumulator& result, const Value& value);
/// or, where it needs the record's key,
///     template <class Accumulator>
///     static FoldEffect Step(Accumulator& code, const EVariant& value,
///                            const ETabulonPrimaryKey& key);
struct CumulFold {
    /// False: a step reads no value, and stores what CountRecord gives.
    static constexpr bool kReadsValues = true;
    /// A step calls CountRecord. A fold that counts and accumulates what another one does says so
    /// by `using Content = ...`: one state then serves both.
    static constexpr bool kCounts = false;
    /// The buffer remembers the key of the record that supplied the result.
    static constexpr bool kKeepsContext = false;
    /// A step that keeps the result of some records keeps that of these and others too, so that a
    /// total needn't see a record that its cell keeps nothing of.
    static constexpr bool kKeepsWider = false;
    /// The step takes the record's key; its accumulator has an extreme.
    static constexpr bool kNeedsKey = false;
    static constexpr FoldMerge kMerge = FoldMerge::Steps;
    /// The result made from the accumulated value; it has the modified flag of `held`.
    [[nodiscard]] static ETabulonValue Finish(const ETabulonValue& held,
                                              std::uint32_t /*records*/) {
        return held;
    }
};

/// The state of such a fold has the number of the record that gave its result: groups of records
/// that lie among each other merge by it. Such a fold doesn't count.
template <class Fold>
inline constexpr bool kKeepsOrder = Fold::kNeedsKey || Fold::kMerge >= FoldMerge::Latest;

/// A buffer whose function can also run in packed cells.
class PackedFold {
public:
    PackedFold() = default;
    PackedFold(const PackedFold&) = delete;
    PackedFold& operator=(const PackedFold&) = delete;
    virtual ~PackedFold() = default;
    /// Writes into `plan` how cells of its result type fold.
    virtual void PlanCells(CellPlan& plan) const = 0;
};

template <class Fold>
using FoldBufferBase =
    std::conditional_t<Fold::kKeepsContext, ETabulonCumulBufferContext, ETabulonCumulBuffer>;

/// The buffer of a fold. It is itself the accumulator, over the buffer's result.
template <class Fold>
class FoldBuffer : public FoldBufferBase<Fold>, public PackedFold {
public:
    using FoldBufferBase<Fold>::FoldBufferBase;

    void AddValue(const EVariant& value, bool modified, const ETabulonPrimaryKey& context) final {
        const bool wasModified = Held().IsModified();
        const FoldEffect effect = Step(value, context);
        if (effect == FoldEffect::Kept) {
            return;
        }
        this->SetModified(modified || (effect == FoldEffect::Joined && wasModified));
        if constexpr (Fold::kKeepsContext) {
            this->SetContext(context);
        }
    }
    void PlanCells(CellPlan& plan) const final;

    [[nodiscard]] bool IsNew() const noexcept { return Held().IsNull(); }
    [[nodiscard]] bool IsAbove(const EVariant& value) const { return value < Held().Data(); }
    [[nodiscard]] bool IsBelow(const EVariant& value) const { return value > Held().Data(); }
    [[nodiscard]] bool Equals(const EVariant& value) const {
        return Held().Status() == ETabulonValue::ValNormal && value == Held().Data();
    }
    void Store(const EVariant& value) { this->SetResult(value); }
    void Add(const EVariant& value) { this->SetResult(Held().Data() + value); }
    void MakeSpecial() { this->SetResultSpecial(); }
    std::uint32_t CountRecord() noexcept { return ++records_; }

    [[nodiscard]] const EVariant& Extreme() const noexcept { return extreme_; }
    void StoreExtreme(const EVariant& value) { extreme_ = value; }
    void NoteMissing() const noexcept {}

protected:
    /// The accumulated value, before Finish.
    [[nodiscard]] const ETabulonValue& Held() const { return ETabulonCumulBuffer::Result(); }
    [[nodiscard]] std::uint32_t Records() const noexcept { return records_; }

private:
    FoldEffect Step(const EVariant& value, const ETabulonPrimaryKey& context) {
        if constexpr (Fold::kNeedsKey) {
            return Fold::Step(*this, value, context);
        } else {
            return Fold::Step(*this, value);
        }
    }

    EVariant extreme_;
    std::uint32_t records_ = 0;
};

}  // namespace etabulon::detail
