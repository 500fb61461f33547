#include "etabulon/values/ETabulonExtractValue.h"

#include "etabulon/cumul/ETabulonCumulFuncOnVar.h"
#include "etabulon/cumul/ITabulonCumulFuncOnVarCollection.h"
#include "etabulon/cursors/ETabulonCursor.h"
#include "etabulon/pending/ETabulonPendingChanges.h"
#include "etabulon/values/ETabulonVariableDesc.h"

namespace etabulon {

ETabulonExtractValue::ETabulonExtractValue(const ETabulonExtractValue& other) { *this = other; }

ETabulonExtractValue& ETabulonExtractValue::operator=(const ETabulonExtractValue& other) {
    if (this == &other) {
        return *this;
    }
    pending_ = other.pending_;
    position_ = other.position_;
    context_ = other.context_;
    // Shares nothing: the bindings point at the values.
    values_.AssignReusing(other.values_);
    valueIndexes_ = other.valueIndexes_;
    BindOwnValues();
    if (other.cursor_ != nullptr) {
        SetCurrent(*other.cursor_);
    }
    return *this;
}

void ETabulonExtractValue::Init(const ITabulonCumulFuncOnVarCollection* calculations,
                                const ETabulonPendingChanges* pending) {
    pending_ = pending;
    values_.Free();
    std::vector<const ETabulonVariableDesc*> variables;
    for (unsigned int index = 0; index < calculations->Size(); ++index) {
        const auto calculation =
            ERef<ETabulonCumulFuncOnVar>::Adopt(calculations->Calculation(index));
        variables.push_back(calculation->Variable());
        values_.Find(calculation->Variable(), FindOrInsert);
    }
    valueIndexes_.clear();
    for (const ETabulonVariableDesc* variable : variables) {
        valueIndexes_.push_back(static_cast<std::uint32_t>(values_.Find(variable, FindExact)));
    }
    BindOwnValues();
}

// Binds each variable to its stored value, until Bind finds the fields of a record.
void ETabulonExtractValue::BindOwnValues() {
    cursor_ = nullptr;
    boundFields_ = nullptr;
    boundShape_ = 0;
    boundViewed_ = false;
    bindings_.clear();
    for (auto& entry : values_) {
        bindings_.push_back({entry.key, nullptr, &entry.value, &entry.value});
    }
    calculationValues_.clear();
    for (const std::uint32_t index : valueIndexes_) {
        calculationValues_.push_back(bindings_[index].current);
    }
}

void ETabulonExtractValue::Bind(const EFieldSet& fields, bool viewed) {
    const EField* first = fields.Size() != 0 ? &fields.At(0) : nullptr;
    if (first == boundFields_ && fields.ShapeNumber() == boundShape_ && viewed == boundViewed_) {
        return;
    }
    for (Binding& binding : bindings_) {
        binding.field = &binding.variable->DataID().GetIn(fields);
        binding.current = viewed ? binding.field : binding.value;
    }
    for (std::size_t index = 0; index < valueIndexes_.size(); ++index) {
        calculationValues_[index] = bindings_[valueIndexes_[index]].current;
    }
    boundFields_ = first;
    boundShape_ = fields.ShapeNumber();
    boundViewed_ = viewed;
}

void ETabulonExtractValue::SetCurrent(const ETabulonCursor& cursor) {
    context_ = cursor.PrimaryKey();
    position_ = cursor.CurrentTag();
    cursor_ = nullptr;
    Bind(cursor.Fields(), /*viewed=*/false);
    if (pending_ != nullptr) {
        ReadPending(position_);
        return;
    }
    for (const Binding& binding : bindings_) {
        const EVariant& loaded = *binding.field;
        *binding.value = loaded;
    }
}

void ETabulonExtractValue::ViewCurrent(const ETabulonCursor& cursor) {
    cursor_ = &cursor;
    Bind(cursor.Fields(), /*viewed=*/pending_ == nullptr);
    if (pending_ != nullptr) {
        ReadPending(cursor.CurrentTag());
    }
}

void ETabulonExtractValue::ReadPending(const ETabulonTag& position) {
    for (const Binding& binding : bindings_) {
        pending_->GetFinalValueCopy(position, binding.variable->DataID(), *binding.field,
                                    *binding.value);
    }
}

const EVariant& ETabulonExtractValue::GetValue(const ETabulonVariableDesc* variable) const {
    const std::int32_t index = values_.Find(variable, FindExact);
    E_EXPECTS(index >= 0);
    return *bindings_[static_cast<std::size_t>(index)].current;
}

const ETabulonExtractValue::ValueMap& ETabulonExtractValue::Values() const {
    shownValues_.AssignReusing(values_);
    return shownValues_;
}

const ETabulonTag& ETabulonExtractValue::Position() const {
    return cursor_ != nullptr ? cursor_->CurrentTag() : position_;
}

std::uint64_t ETabulonExtractValue::PositionGeneration() const noexcept {
    return cursor_ != nullptr ? cursor_->TagGeneration() : 0;
}

const ETabulonPrimaryKey& ETabulonExtractValue::Context() const {
    return cursor_ != nullptr ? cursor_->PrimaryKey() : context_;
}

}  // namespace etabulon
