#include "etabulon/grid/ETabulonGridUIBuildEData.h"

#include "etabulon/cumul/ETabulonCumulFunc.h"
#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/foundation/EDataArray.h"
#include "etabulon/foundation/EDataType.h"
#include "etabulon/foundation/ERef.h"
#include "etabulon/grid/ETabulonGridAxe.h"
#include "etabulon/grid/ETabulonGridFiller.h"
#include "etabulon/values/ETabulonVariableDesc.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

constexpr std::uint16_t kMaxFields = 0x200;
constexpr unsigned int kNominalSize = 4;  // the size that a text of unlimited length states
constexpr unsigned int kTextSize = 50;

struct Column {
    int type;
    unsigned int size;
};
constexpr Column kPlainText{TYPE_ZSTRING, kTextSize};

/// The field of the table for values of this type: texts lie in the record itself, and fixed-size
/// types get a mark for missing values.
Column FieldFor(Column column) {
    if (column.type == ETabulonGridAxe::AxeLabel::kNoColumnType) {
        return kPlainText;
    }
    const int type = static_cast<std::uint8_t>(column.type);
    switch (type) {
        case TYPE_CSTRING:
        case TYPE_CHAINE:
        case TYPE_UP_CHAINE:
        case TYPE_NC_CHAINE:
            // A text without a size would have no room.
            return {TYPE_ZSTRING,
                    column.size == kNominalSize || column.size == 0 ? kTextSize : column.size};
        default: {
            const ETypeInfo& info = TypeInfo(type);
            // One byte more marks a missing value, so that every number stays usable.
            return {type, info.IsFixedSize() ? info.naturalSize + 1U : column.size};
        }
    }
}

/// The calculation of the cells on a grid without an intrinsic axis; null if there is none.
ERef<ETabulonCumulFuncOnVar> ShownCalculation(const ITabulonCumulFuncOnVarCollection* functions) {
    if (functions == nullptr) {
        return nullptr;
    }
    const auto position =
        static_cast<unsigned int>(std::max(functions->PriorityCalculationPos(), 0));
    return position < functions->Size()
               ? ERef<ETabulonCumulFuncOnVar>::Adopt(functions->Calculation(position))
               : nullptr;
}

Column ColumnOf(const ERef<ETabulonCumulFuncOnVar>& calculation) {
    if (!calculation) {
        return kPlainText;
    }
    const ETabulonVariableDesc& variable = *calculation->Variable();
    return {calculation->Function()->ResultType(variable.DataType()),
            calculation->Function()->ResultSize(variable.DataSize())};
}

}  // namespace

ETabulonGridUIBuildEData::ETabulonGridUIBuildEData(const ETabulonGridUIBuildEData& other)
    : ITabulonResultUI(other),
      ITabulonResGridUI(other),
      functions_(other.functions_),
      ownsResult_(other.ownsResult_),
      displayMode_(other.displayMode_) {}

ETabulonGridUIBuildEData& ETabulonGridUIBuildEData::operator=(
    const ETabulonGridUIBuildEData& other) {
    if (this != &other) {
        Reset();
        functions_ = other.functions_;
        ownsResult_ = other.ownsResult_;
        displayMode_ = other.displayMode_;
    }
    return *this;
}

ETabulonGridUIBuildEData::~ETabulonGridUIBuildEData() { ETabulonGridUIBuildEData::Reset(); }

EData* ETabulonGridUIBuildEData::Result() const { return result_; }

void ETabulonGridUIBuildEData::Reset() {
    if (ownsResult_) {
        delete result_;
    }
    result_ = nullptr;
    buffer_ = nullptr;
    recordSize_ = 0;
    fieldSet_.reset();
    fieldDescs_.Free();
    lineLabels_.Free();
    axeCount_ = 0;
    axesReceived_ = 0;
    leftOutColumns_ = 0;
}

bool ETabulonGridUIBuildEData::GetSelection(const ETabulonGridFiller* filler, unsigned int column,
                                            unsigned int line, ETabulonVariableID* id,
                                            ETabulonTag* tag) const {
    if (IsOneLine()) {
        std::swap(column, line);
    }
    return filler->GetSelection(static_cast<int>(column), static_cast<int>(line), id, tag);
}

// -------------------------------------------------------------------------------------------- axes

void ETabulonGridUIBuildEData::SetAxeCount(unsigned int count) {
    axeCount_ = count;
    axesReceived_ = 0;
    if (IsOneLine()) {
        lineLabels_.Free();
        lineLabels_.Add(Chaine());
    }
}

void ETabulonGridUIBuildEData::SetAxe(AxeDirection direction, const ETabulonGridAxe* axe) {
    if (IsOneLine() && direction == AxeLines) {
        direction = AxeColumns;
    }
    if (direction == AxeLines) {
        lineLabels_.Free();
        Chaine holder;
        for (unsigned int index = 0; index < axe->Size(); ++index) {
            lineLabels_.Add(Shown(axe->Label(index), holder));
        }
    } else if (direction == AxeColumns) {
        fieldDescs_.Free();
        recordSize_ = 0;
        for (unsigned int index = 0; index < axe->Size(); ++index) {
            AddField(*axe, index);
        }
    }
    if (++axesReceived_ == axeCount_) {
        BuildTable(/*spareRecords=*/1);
    }
}

const Chaine& ETabulonGridUIBuildEData::Shown(const ETabulonValue& label, Chaine& holder) const {
    if (displayMode_ != DisplayRawValue) {
        return label.DisplayValue();
    }
    holder = label.Data().AsChaine();
    return holder;
}

void ETabulonGridUIBuildEData::AddField(const ETabulonGridAxe& axe, unsigned int index) {
    const ETabulonGridAxe::AxeLabel& label = axe.Label(index);
    const Column column = axe.Type() == ETabulonGridAxe::AxeData
                              ? ColumnOf(ShownCalculation(functions_))
                              : Column{label.ColumnType(), label.ColumnBufferSize()};
    Chaine holder;
    // Deliberate: the description is the display text in either mode; only the column's header
    // follows the mode. RawModeShowsDataButInDescriptions holds it.
    AddField(label.Data().AsChaine(), column.type, column.size, Shown(label, holder),
             label.DisplayValue());
}

void ETabulonGridUIBuildEData::AddField(const Chaine& name, int type, unsigned int size,
                                        const Chaine& header, const Chaine& description) {
    const Column field = FieldFor({type, size});
    const auto offset = static_cast<std::uint16_t>(recordSize_ & 0xFFFFU);
    fieldDescs_.Add(EFieldDesc(
        name, static_cast<std::uint16_t>(field.type), static_cast<std::uint16_t>(field.size),
        offset, std::make_shared<EFInfosHandlerLocal>(header, description, offset, 0UL)));
    recordSize_ += fieldDescs_.At(fieldDescs_.Size() - 1).StorageSize();
}

// ------------------------------------------------------------------------------------------- table

/// Deliberate: a table has 512 fields at most, and values for columns beyond them are dropped.
/// Readers couldn't address the offsets of wider records. HasAtMost512Fields holds it.
void ETabulonGridUIBuildEData::BuildTable(std::uint32_t spareRecords) {
    fieldSet_ = std::make_unique<EFieldSet>();
    fieldSet_->Attach(fieldDescs_, nullptr, 0, kMaxFields);
    leftOutColumns_ = static_cast<std::uint32_t>(fieldDescs_.Size() - fieldSet_->Size());
    recordSize_ = static_cast<std::uint32_t>(fieldSet_->RecordSize());
    const std::uint32_t lines = lineLabels_.Size();
    // Cells that get no value are zeros and empty texts.
    auto records = std::make_unique<std::byte[]>((std::size_t{lines} + spareRecords) * recordSize_);
    fieldSet_->ChangeBuffer(records.get(), /*takeOwnership=*/false);
    result_ = new EDataArray(*fieldSet_);
    buffer_ = records.release();
    result_->AttachArray(buffer_, static_cast<int>(recordSize_), static_cast<long>(lines),
                         /*takeOwnership=*/true);
}

void ETabulonGridUIBuildEData::BuildTotal() {
    const ERef<ETabulonCumulFuncOnVar> calculation = ShownCalculation(functions_);
    const Column column = ColumnOf(calculation);
    Chaine code;
    Chaine header;
    if (calculation) {
        code = calculation->Variable()->DataID().Code();
        header = calculation->Variable()->Header();
    }
    AddField(code, column.type, column.size, displayMode_ == DisplayRawValue ? code : header,
             header);
    BuildTable(/*spareRecords=*/0);
}

void ETabulonGridUIBuildEData::SetValue(unsigned int column, unsigned int line,
                                        const ETabulonValue& value) {
    if (axeCount_ == 0) {
        SetTotal(value);
    } else if (IsOneLine()) {
        Store(column, line, value);
    } else {
        Store(line, column, value);
    }
}

void ETabulonGridUIBuildEData::SetTotal(const ETabulonValue& value) {
    if (axeCount_ != 0) {
        return;
    }
    if (result_ == nullptr) {
        BuildTotal();
    }
    Store(0, 0, value);
}

void ETabulonGridUIBuildEData::Store(std::uint32_t record, std::uint32_t field,
                                     const ETabulonValue& value) {
    E_EXPECTS(result_ != nullptr && record < lineLabels_.Size());
    if (field >= fieldSet_->Size()) {
        return;
    }
    fieldSet_->ChangeBuffer(buffer_ + std::size_t{record} * recordSize_, /*takeOwnership=*/true);
    EField& cell = fieldSet_->At(static_cast<std::uint16_t>(field));
    if (value.Status() == ETabulonValue::ValNormal) {
        cell <<= value.Data();
    } else {
        // Deliberate: ValSpecial is stored like ValNull, as the empty text, which makes a number
        // field missing. CellsWithoutAValueAreEmpty holds it.
        cell <<= EVariant("");
    }
}

}  // namespace etabulon
