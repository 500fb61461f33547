#include "cumul/CumulCells.h"

#include "cumul/CellPlan.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <algorithm>

namespace etabulon::detail {
namespace {

ERef<ETabulonCumulBuffer> StartBuffer(const ETabulonCumulFuncOnVar& calculation) {
    const ETabulonVariableDesc& variable = *calculation.Variable();
    return ERef<ETabulonCumulBuffer>::Adopt(
        calculation.Function()->Start(variable.DataType(), variable.DataSize()));
}

void FoldForeign(const CellPlan& plan, CellPlan::Rows rows, const EVariant& value,
                 const ETabulonPrimaryKey* key, RecordReading& /*reading*/) {
    for (std::byte* const row : rows) {
        plan.StateIn<ForeignState>(row).buffer->AddValue(value, /*modified=*/false, *key);
    }
}

void ForeignResult(const CellPlan& plan, std::byte* row, ETabulonValue& result) {
    result = plan.StateIn<ForeignState>(row).buffer->Result();
}

}  // namespace

/// A calculation of the rows. An application's function may bear any code and may derive from the
/// library's own: the class of the buffer that it starts decides whether it is packed.
struct CumulCells::Plan : CellPlan {
    explicit Plan(ERef<ETabulonCumulFuncOnVar> ofCalculation)
        : calculation(std::move(ofCalculation)) {
        const ETabulonVariableDesc& variable = *calculation->Variable();
        const ETabulonCumulFunc& function = *calculation->Function();
        blank.Init(static_cast<std::uint16_t>(function.ResultType(variable.DataType())),
                   static_cast<std::uint16_t>(function.ResultSize(variable.DataSize())), nullptr);
        type = &TypeInfo(blank.Type());
        firstBuffer = StartBuffer(*calculation);
        if (const auto* const own = dynamic_cast<const PackedFold*>(firstBuffer.Get())) {
            own->PlanCells(*this);
            firstBuffer = {};
            return;
        }
        state = &kStateKind<ForeignState>;
        fold = &FoldForeign;
        result = &ForeignResult;
        isForeign = needsKey = true;
    }
    /// The other's state has all that this one's would have.
    [[nodiscard]] bool CanUse(const Plan& other) const {
        if (isForeign || other.isForeign || state != other.state || (counts && !other.counts)) {
            return false;
        }
        const ETabulonVariableDesc& variable = *calculation->Variable();
        const ETabulonVariableDesc& others = *other.calculation->Variable();
        return content == nullptr ||
               (content == other.content && blank.Type() == other.blank.Type() &&
                blank.Size() == other.blank.Size() && variable.DataID() == others.DataID() &&
                variable.DataType() == others.DataType() &&
                variable.DataSize() == others.DataSize());
    }
    [[nodiscard]] ERef<ETabulonCumulBuffer> NextBuffer() {
        return firstBuffer ? std::move(firstBuffer) : StartBuffer(*calculation);
    }

    ERef<ETabulonCumulFuncOnVar> calculation;
    ERef<ETabulonCumulBuffer> firstBuffer;  // foreign: for the first row
    bool isForeign = false;
    bool isFolded = true;  // false: another plan's state is used
};

CumulCells::CumulCells(const ITabulonCumulFuncOnVarCollection& calculations) {
    const unsigned int size = calculations.Size();
    plans_.reserve(size);
    for (unsigned int index = 0; index < size; ++index) {
        Plan& plan = plans_.emplace_back(
            ERef<ETabulonCumulFuncOnVar>::Adopt(calculations.Calculation(index)));
        needsContext_ = needsContext_ || plan.needsKey;
        areOwn_ = areOwn_ && !plan.isForeign;
    }
    PlaceStates();
}

// One state serves all calculations that can use it: a count and a sum that of an average.
void CumulCells::PlaceStates() {
    std::vector<const Plan*> owners;
    for (Plan& plan : plans_) {
        const Plan* owner = &plan;
        for (const Plan& other : plans_) {
            // Of two that can use each other's, the first owns.
            if (owner->CanUse(other) && (&other < owner || !other.CanUse(*owner))) {
                owner = &other;
            }
        }
        plan.isFolded = owner == &plan;
        owners.push_back(owner);
    }
    for (Plan& plan : plans_) {
        if (plan.isFolded) {
            plan.offset = rowBytes_;
            rowBytes_ += plan.state->bytes;
            areNumbers_ = areNumbers_ && plan.state == &kStateKind<NumberState>;
        }
    }
    for (std::size_t index = 0; index < plans_.size(); ++index) {
        plans_[index].offset = owners[index]->offset;
    }
}

CumulCells::CumulCells(CumulCells&& other) noexcept
    : plans_(std::move(other.plans_)),
      chunks_(std::move(other.chunks_)),
      rows_(std::exchange(other.rows_, 0)),
      records_(other.records_),
      rowBytes_(other.rowBytes_),
      needsContext_(other.needsContext_),
      areOwn_(other.areOwn_),
      areNumbers_(other.areNumbers_) {}

CumulCells& CumulCells::operator=(CumulCells&& other) noexcept {
    if (this != &other) {
        Free();
        plans_ = std::move(other.plans_);
        chunks_ = std::move(other.chunks_);
        rows_ = std::exchange(other.rows_, 0);
        records_ = other.records_;
        rowBytes_ = other.rowBytes_;
        needsContext_ = other.needsContext_;
        areOwn_ = other.areOwn_;
        areNumbers_ = other.areNumbers_;
    }
    return *this;
}

CumulCells::~CumulCells() { Free(); }

unsigned int CumulCells::Size() const noexcept { return static_cast<unsigned int>(plans_.size()); }

const ETabulonCumulFuncOnVar& CumulCells::Calculation(unsigned int calculation) const noexcept {
    return *plans_[calculation].calculation;
}

std::uint32_t CumulCells::AddRow() {
    const std::uint32_t row = rows_;
    if (row % kChunkRows == 0 && chunks_.size() == row >> kChunkBits) {
        chunks_.push_back(std::make_unique<std::byte[]>(std::size_t{kChunkRows} * rowBytes_));
    }
    ++rows_;
    if (!areNumbers_) {
        BeginStates(row);
    }
    return row;
}

void CumulCells::AddRows(std::uint32_t rows) {
    while (rows_ < rows) {
        static_cast<void>(AddRow());
        if (areNumbers_) {
            // The others of the chunk are there.
            rows_ = std::min(rows, static_cast<std::uint32_t>(chunks_.size()) << kChunkBits);
        }
    }
}

void CumulCells::BeginStates(std::uint32_t row) {
    // Foreign buffers, whose start may throw, follow once the row can be destroyed.
    for (const Plan& plan : plans_) {
        if (plan.isFolded) {
            plan.state->begin(RowAt(row) + plan.offset);
        }
    }
    try {
        for (Plan& plan : plans_) {
            if (plan.isForeign) {
                plan.StateIn<ForeignState>(RowAt(row)).buffer = plan.NextBuffer();
            }
        }
    } catch (...) {
        DropLastRow();
        throw;
    }
}

void CumulCells::DropLastRow() noexcept {
    const std::uint32_t row = rows_ - 1;
    for (const Plan& plan : plans_) {
        if (plan.isFolded && plan.state->end != nullptr) {
            plan.state->end(RowAt(row) + plan.offset);
        }
    }
    rows_ = row;
}

void CumulCells::Free() noexcept {
    bool trivial = true;
    for (const Plan& plan : plans_) {
        trivial = trivial && plan.state->end == nullptr;
    }
    while (!trivial && rows_ != 0) {
        DropLastRow();
    }
    rows_ = 0;
    chunks_.clear();
}

void CumulCells::Fold(std::span<std::byte* const> rows, std::span<const EVariant* const> values,
                      const ETabulonPrimaryKey* context) {
    E_EXPECTS(values.size() == plans_.size());
    E_EXPECTS(!needsContext_ || context != nullptr);
    const EVariant* const* value = values.data();
    RecordReading reading;
    reading.record = records_;
    records_ = NumberAfter(records_, 1);
    for (const Plan& plan : plans_) {
        if (plan.isFolded) {
            plan.fold(plan, rows, **value, context, reading);
        }
        ++value;
    }
}

void CumulCells::FoldBlock(BlockRows rows, std::span<const unsigned int> columns) {
    E_EXPECTS(columns.size() == plans_.size());
    E_EXPECTS(areOwn_);
    rows.firstNumber = records_;
    records_ = NumberAfter(records_, rows.records.size());
    for (std::size_t index = 0; index < plans_.size(); ++index) {
        if (plans_[index].isFolded) {
            plans_[index].foldBlock(plans_[index], rows, columns[index]);
        }
    }
}

void CumulCells::Merge(std::span<std::byte* const> rows, const CumulCells& other, std::uint32_t row,
                       std::uint32_t after) const {
    E_EXPECTS(areOwn_ && other.plans_.size() == plans_.size());
    std::byte* const from = other.RowAt(row);
    for (const Plan& plan : plans_) {
        for (std::byte* const into : rows) {
            if (plan.isFolded) {
                plan.merge(plan, into, from, after);
            }
        }
    }
}

void CumulCells::MergeAfter(std::span<std::byte* const> rows, const CumulCells& other,
                            std::uint32_t row) {
    Merge(rows, other, row, records_);
    CountRecords(other.records_);
}

void CumulCells::CountRecords(std::uint32_t records) noexcept {
    records_ = NumberAfter(records_, records);
}

void CumulCells::ResetRow(std::uint32_t row) {
    E_EXPECTS(areOwn_);
    for (const Plan& plan : plans_) {
        if (!plan.isFolded) {
            continue;
        }
        std::byte* const state = RowAt(row) + plan.offset;
        if (plan.state->end != nullptr) {
            plan.state->end(state);
        }
        plan.state->begin(state);
    }
}

bool CumulCells::ReadsValues(unsigned int calculation) const noexcept {
    return plans_[calculation].readsValues && plans_[calculation].isFolded;
}

void CumulCells::ReadResult(std::uint32_t row, unsigned int calculation,
                            ETabulonValue& result) const {
    E_EXPECTS(calculation < plans_.size());
    const Plan& plan = plans_[calculation];
    plan.result(plan, RowAt(row), result);
}

}  // namespace etabulon::detail
