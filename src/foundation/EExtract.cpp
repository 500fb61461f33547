#include "etabulon/foundation/EExtract.h"

#include "foundation/ERecordShape.h"

#include <memory>
#include <utility>

namespace etabulon {

bool EExtract::HasShape(const ERecordShape* shape) const noexcept {
    const ERecordShape* const own = image_.shape_.get();
    return own == shape || (own != nullptr && shape != nullptr && own->Number() == shape->Number());
}

void EExtract::Take(ERecordBuffer image) noexcept {
    fields_.reset();
    image_ = std::move(image);
}

// An image of another shape is complete before the old one is released: the source may view that
// one.

EExtract& EExtract::operator=(const EExtract& other) {
    const ERecordShape* const shape = other.image_.shape_.get();
    if (shape == nullptr) {
        Take({});
    } else if (HasShape(shape)) {
        ERecordShape::Copy(shape->Image(), image_.Get(), other.image_.Get());
    } else {
        ERecordBuffer image(other.image_.shape_);
        ERecordShape::Copy(shape->Image(), image.Get(), other.image_.Get());
        Take(std::move(image));
    }
    return *this;
}

EExtract& EExtract::operator=(const EFieldSet& fields) {
    if (HasShape(fields.Shape().get())) {
        fields.CopyToImage(image_.Get());
    } else {
        ERecordBuffer image(fields.Shape());
        fields.CopyToImage(image.Get());
        Take(std::move(image));
    }
    return *this;
}

bool EExtract::IsEmpty() const noexcept {
    return image_.shape_ == nullptr || image_.shape_->Cells().empty();
}

std::uint64_t EExtract::ShapeNumber() const noexcept {
    return image_.shape_ == nullptr ? EFieldSet().ShapeNumber() : image_.shape_->Number();
}

int EExtract::IndexOf(const Chaine& name) const noexcept {
    return image_.shape_ == nullptr ? -1 : image_.shape_->Find(name);
}

EField EExtract::Field(std::uint16_t index) const {
    E_EXPECTS(!IsEmpty() && index < image_.shape_->Cells().size());
    EField field;
    field.Attach(image_.shape_->Cells()[index].desc, image_.shape_->AddressIn(image_.Get(), index),
                 /*takeOwnership=*/false);
    return field;
}

const EFieldSet& EExtract::Fields() const {
    if (fields_ == nullptr) {
        fields_.reset(new EFieldSet(ERecordShape::Packed(image_.shape_), image_.Get()));
    }
    return *fields_;
}

}  // namespace etabulon
