#include "cursors/DerivedFields.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

EFieldDesc DescOf(const ETabulonVariableID& id, const EDerivation& derivation, int type) {
    const int result = derivation.ResultType(type);
    // A byte more marks a missing number.
    const int size = derivation.ResultSize(type) + (TypeInfo(result).IsSlot() ? 0 : 1);
    return {id.Code(), static_cast<std::uint16_t>(result), static_cast<std::uint16_t>(size),
            /*offset=*/0, nullptr};
}

}  // namespace

ETabulonCursorEData::DerivedFields::Field::Field(const ETabulonVariableID& ofID,
                                                 const ETabulonVariableID& ofBase,
                                                 const EDerivation& by, int type)
    : Derived{ofID, ofBase}, derivation(by) {
    shown.Attach(DescOf(ofID, by, type), cell.data(), /*takeOwnership=*/false);
    shown.SetMissing();
}

ETabulonCursorEData::DerivedFields::Field::~Field() { shown.SetMissing(); }

void ETabulonCursorEData::DerivedFields::Add(const ETabulonVariableID& id,
                                             const ETabulonVariableID& base,
                                             const EDerivation& derivation, int type) {
    const Field& field = *fields_.emplace_back(std::make_unique<Field>(id, base, derivation, type));
    const EFieldDesc& desc = field.shown.Desc();
    const int size = desc.Size() + (desc.IsNullable() ? 1 : 0);
    cursor_.DeclareExtraField(id, desc.Type(), static_cast<std::uint16_t>(size),
                              fields_.back()->cell.data(), Chaine());
    boundFields_ = nullptr;
}

bool ETabulonCursorEData::DerivedFields::Has(const ETabulonVariableID& id) const {
    return std::any_of(fields_.begin(), fields_.end(),
                       [&id](const auto& field) { return field->id == id; });
}

void ETabulonCursorEData::DerivedFields::Bind() {
    const EFieldSet& fields = std::as_const(cursor_).Fields();
    if (boundFields_ == &fields.At(0) && boundShape_ == fields.ShapeNumber()) {
        return;
    }
    for (const auto& field : fields_) {
        field->from = &field->base.GetIn(fields);
    }
    boundFields_ = &fields.At(0);
    boundShape_ = fields.ShapeNumber();
}

void ETabulonCursorEData::DerivedFields::Make() {
    Bind();
    for (const auto& field : fields_) {
        field->shown <<= field->derivation.Of(*field->from);
    }
}

void ETabulonCursorEData::DerivedFields::MakeAgain(std::vector<const EField*>& written) {
    Bind();
    const std::size_t count = written.size();
    for (const auto& field : fields_) {
        const auto end = written.begin() + static_cast<std::ptrdiff_t>(count);
        if (std::any_of(written.begin(), end, [&field](const EField* each) {
                return each->Address() == field->from->Address();
            })) {
            field->shown <<= field->derivation.Of(*field->from);
            written.push_back(&field->shown);
        }
    }
}

}  // namespace etabulon
