#include "cursors/DerivedFields.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

EFieldDesc DescOf(const ETabulonVariableID& id, int type) {
    const ETypeInfo& info = TypeInfo(type);
    // A byte more marks a missing number.
    const int size = info.naturalSize + (info.IsSlot() ? 0 : 1);
    return {id.Code(), static_cast<std::uint16_t>(type), static_cast<std::uint16_t>(size),
            /*offset=*/0, nullptr};
}

}  // namespace

ETabulonCursorEData::DerivedFields::Field::Field(const Derived& derived, int type, StoreValue by)
    : Derived(derived), store(std::move(by)) {
    shown.Attach(DescOf(id, type), cell.data(), /*takeOwnership=*/false);
    shown.SetMissing();
}

ETabulonCursorEData::DerivedFields::Field::~Field() { shown.SetMissing(); }

void ETabulonCursorEData::DerivedFields::Add(const Derived& derived, int type, StoreValue store) {
    Field& field = *fields_.emplace_back(std::make_unique<Field>(derived, type, std::move(store)));
    const EFieldDesc& desc = field.shown.Desc();
    const int size = desc.Size() + (desc.IsNullable() ? 1 : 0);
    cursor_.DeclareExtraField(field.id, desc.Type(), static_cast<std::uint16_t>(size),
                              field.cell.data(), Chaine());
    boundFields_ = nullptr;
}

bool ETabulonCursorEData::DerivedFields::Has(const ETabulonVariableID& id) const {
    return std::any_of(fields_.begin(), fields_.end(),
                       [&id](const auto& field) { return field->id == id; });
}

void ETabulonCursorEData::DerivedFields::Bind() {
    const EFieldSet& fields = std::as_const(cursor_).Fields();
    if (boundFields_ != &fields.At(0) || boundShape_ != fields.ShapeNumber()) {
        BindTo(fields);
    }
}

void ETabulonCursorEData::DerivedFields::BindTo(const EFieldSet& fields) {
    for (const auto& field : fields_) {
        field->from.clear();
        field->addresses.clear();
        for (const ETabulonVariableID& base : field->bases) {
            const EField& from = base.GetIn(fields);
            field->from.push_back(&from);
            field->addresses.push_back(from.Address());
        }
    }
    boundFields_ = &fields.At(0);
    boundShape_ = fields.ShapeNumber();
}

void ETabulonCursorEData::DerivedFields::Make() {
    Bind();
    for (const auto& field : fields_) {
        field->store(field->from, field->shown);
    }
}

const void* ETabulonCursorEData::DerivedFields::MakeFrom(std::size_t index, const EVariant& base) {
    Field& field = *fields_[index];
    const EVariant* const values[] = {&base};
    field.store(values, field.shown);
    return field.shown.Address();
}

void ETabulonCursorEData::DerivedFields::MakeAgain(std::vector<const EField*>& written) {
    Bind();
    for (const auto& field : fields_) {
        const auto isBase = [&field](const EField* each) {
            return std::find(field->addresses.begin(), field->addresses.end(), each->Address()) !=
                   field->addresses.end();
        };
        if (std::any_of(written.begin(), written.end(), isBase)) {
            field->store(field->from, field->shown);
            written.push_back(&field->shown);
        }
    }
}

}  // namespace etabulon
