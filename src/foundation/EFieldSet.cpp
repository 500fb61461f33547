#include "etabulon/foundation/EFieldSet.h"

#include "etabulon/foundation/EExtract.h"
#include "foundation/ERecordShape.h"

#include <algorithm>
#include <utility>

namespace etabulon {

namespace {

constexpr std::uint64_t kNoShapeNumber = 1;

const EField& FieldOrEmpty(const PTableau<EField>& fields, int index) noexcept {
    return index < 0 ? EField::Empty() : fields.At(static_cast<std::uint32_t>(index));
}

EField& FieldOrEmpty(PTableau<EField>& fields, int index) noexcept {
    return index < 0 ? EField::Empty() : fields.At(static_cast<std::uint32_t>(index));
}

}  // namespace

EFieldSet::EFieldSet(const EFieldSet& other)
    : fields_(other.fields_), shape_(other.shape_), buffer_(other.buffer_) {
    fields_.Detach();  // another thread may use the source afterwards
}

EFieldSet& EFieldSet::operator=(const EFieldSet& other) {
    if (this != &other) {
        fields_.AssignReusing(other.fields_);
        shape_ = other.shape_;
        buffer_ = other.buffer_;
    }
    return *this;
}

EFieldSet::EFieldSet(EFieldSet&& other) noexcept
    : fields_(std::move(other.fields_)),
      shape_(std::move(other.shape_)),
      buffer_(std::exchange(other.buffer_, nullptr)) {}

EFieldSet& EFieldSet::operator=(EFieldSet&& other) noexcept {
    fields_.Swap(other.fields_);
    shape_.swap(other.shape_);
    std::swap(buffer_, other.buffer_);
    return *this;
}

EFieldSet::EFieldSet(std::shared_ptr<const ERecordShape> shape, void* image)
    : shape_(std::move(shape)), buffer_(image) {
    if (shape_ == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < shape_->Cells().size(); ++i) {
        fields_.Add(EField(shape_->Cells()[i].desc, shape_->AddressIn(image, i)));
    }
}

ERecordShape& EFieldSet::OwnShape() {
    std::shared_ptr<ERecordShape> own;
    if (shape_ == nullptr) {
        own = std::make_shared<ERecordShape>();
    } else if (shape_.use_count() != 1 || !shape_->IsChangeable()) {
        own = std::make_shared<ERecordShape>(*shape_);
    } else {
        // Every shape is created as a non-const object; the const pointer only keeps sharers from
        // changing it.
        own = std::const_pointer_cast<ERecordShape>(shape_);
        own->Renumber();
    }
    shape_ = own;
    return *own;
}

int EFieldSet::IndexOf(const Chaine& name) const noexcept {
    return shape_ == nullptr ? -1 : shape_->Find(name);
}

int EFieldSet::IndexOf(unsigned long accelerator) const noexcept {
    return shape_ == nullptr ? -1 : shape_->Find(accelerator);
}

EField& EFieldSet::operator[](const Chaine& name) { return FieldOrEmpty(fields_, IndexOf(name)); }

const EField& EFieldSet::operator[](const Chaine& name) const {
    return FieldOrEmpty(fields_, IndexOf(name));
}

EField& EFieldSet::operator[](unsigned long accelerator) {
    return FieldOrEmpty(fields_, IndexOf(accelerator));
}

const EField& EFieldSet::operator[](unsigned long accelerator) const {
    return FieldOrEmpty(fields_, IndexOf(accelerator));
}

bool EFieldSet::Exist(const EFieldIdent& ident) const noexcept {
    return (ident.accelerator != 0 ? IndexOf(ident.accelerator) : IndexOf(ident.name)) >= 0;
}

void EFieldSet::Add(const EField& field) {
    fields_.Add(field);
    OwnShape().Add(fields_.At(fields_.Size() - 1).Desc());
}

std::size_t EFieldSet::FieldsTotalSize() const noexcept {
    return shape_ == nullptr ? 0 : shape_->TotalSize();
}

std::size_t EFieldSet::RecordSize() const noexcept {
    return shape_ == nullptr ? 0 : shape_->Record().blank.size();
}

std::size_t EFieldSet::OffsetOf(std::uint16_t index) const noexcept {
    E_EXPECTS(index < fields_.Size());
    return index < shape_->LaidOut() ? shape_->Cells()[index].offset : kNoOffset;
}

std::uint64_t EFieldSet::ShapeNumber() const noexcept {
    return shape_ == nullptr ? kNoShapeNumber : shape_->Number();
}

bool EFieldSet::AreLaidOut() const noexcept {
    for (std::size_t i = 0; i < shape_->LaidOut(); ++i) {
        if (fields_.At(static_cast<std::uint32_t>(i)).Address() != shape_->AddressIn(buffer_, i)) {
            return false;
        }
    }
    return true;
}

void EFieldSet::Attach(const PTableau<EFieldDesc>& descs, void* buffer, std::uint16_t first,
                       std::uint16_t count) {
    auto shape = std::make_shared<ERecordShape>();
    if (shape_ != nullptr) {
        shape->SetRubric(shape_->Rubric());
    }
    const std::uint32_t end = std::min(descs.Size(), std::uint32_t{first} + count);
    for (std::uint32_t i = first; i < end; ++i) {
        shape->LayOut(descs[i]);
    }
    shape->EndRecord();
    *this = EFieldSet(std::move(shape), buffer);
}

EFieldSet EFieldSet::Packed() const { return {ERecordShape::Packed(shape_), nullptr}; }

void EFieldSet::SetRubricName(const Chaine& rubric) { OwnShape().SetRubric(rubric); }

void EFieldSet::ChangeBuffer(void* buffer, bool) noexcept {
    buffer_ = buffer;
    if (shape_ == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < shape_->LaidOut(); ++i) {
        fields_.At(static_cast<std::uint32_t>(i)).SetViewAddress(shape_->AddressIn(buffer, i));
    }
}

void EFieldSet::SetNull() noexcept {
    if (shape_ == nullptr) {
        return;
    }
    E_EXPECTS(AreLaidOut());
    if (buffer_ != nullptr) {
        ERecordShape::Clear(shape_->Record(), buffer_);
    }
    for (std::size_t i = shape_->LaidOut(); i < fields_.Size(); ++i) {
        shape_->CopyCell(i, fields_.At(static_cast<std::uint32_t>(i)).Address(), nullptr);
    }
}

EFieldSet& EFieldSet::operator<<=(const EFieldSet& other) {
    if (ShapeNumber() != other.ShapeNumber()) {
        for (EField& field : fields_) {
            if (const int index = other.IndexOf(field.Name()); index >= 0) {
                field <<= other.fields_.At(static_cast<std::uint32_t>(index));
            }
        }
        return *this;
    }
    // One set may be the packed form of the other: the cells that both have in their record are
    // copied as a whole.
    if (shape_ != nullptr) {
        E_EXPECTS(AreLaidOut() && other.AreLaidOut());
        const ERecordShape& less =
            shape_->LaidOut() <= other.shape_->LaidOut() ? *shape_ : *other.shape_;
        if (buffer_ != nullptr && other.buffer_ != nullptr) {
            ERecordShape::Copy(less.Record(), buffer_, other.buffer_);
        } else if (buffer_ != nullptr) {
            ERecordShape::Clear(less.Record(), buffer_);
        }
        for (std::size_t i = less.LaidOut(); i < fields_.Size(); ++i) {
            shape_->CopyCell(i, fields_.At(static_cast<std::uint32_t>(i)).Address(),
                             other.fields_.At(static_cast<std::uint32_t>(i)).Address());
        }
    }
    return *this;
}

EFieldSet& EFieldSet::operator<<=(const EExtract& record) {
    if (ShapeNumber() == record.ShapeNumber()) {
        CopyFromImage(record.image_.Get());
        return *this;
    }
    for (EField& field : fields_) {
        if (const int index = record.IndexOf(field.Name()); index >= 0) {
            field <<= record.Field(static_cast<std::uint16_t>(index));
        }
    }
    return *this;
}

void EFieldSet::CopyToImage(void* image) const noexcept {
    if (shape_ == nullptr) {
        return;
    }
    E_EXPECTS(AreLaidOut());
    if (buffer_ != nullptr) {
        ERecordShape::Copy(shape_->Record(), image, buffer_);
    } else {
        ERecordShape::Clear(shape_->Record(), image);
    }
    for (std::size_t i = shape_->LaidOut(); i < fields_.Size(); ++i) {
        shape_->CopyCell(i, shape_->AddressIn(image, i),
                         fields_.At(static_cast<std::uint32_t>(i)).Address());
    }
}

void EFieldSet::CopyFromImage(const void* image) noexcept {
    if (shape_ == nullptr) {
        return;
    }
    E_EXPECTS(AreLaidOut());
    if (buffer_ != nullptr) {
        ERecordShape::Copy(shape_->Record(), buffer_, image);
    }
    for (std::size_t i = shape_->LaidOut(); i < fields_.Size(); ++i) {
        shape_->CopyCell(i, fields_.At(static_cast<std::uint32_t>(i)).Address(),
                         shape_->AddressIn(image, i));
    }
}

void EFieldSet::ConstructRecord(void* buffer) const noexcept {
    if (shape_ != nullptr) {
        ERecordShape::Construct(shape_->Record(), buffer);
    }
}

void EFieldSet::DestroyRecord(void* buffer) const noexcept {
    if (shape_ != nullptr) {
        ERecordShape::Destroy(shape_->Record(), buffer);
    }
}

void EFieldSet::CopyRecord(void* to, const void* from) const noexcept {
    if (shape_ != nullptr) {
        ERecordShape::Copy(shape_->Record(), to, from);
    }
}

ERecordBuffer::ERecordBuffer(const EFieldSet& layout)
    : shape_(layout.Shape()), bytes_(std::make_unique<std::byte[]>(layout.RecordSize())) {
    layout.ConstructRecord(Get());
}

ERecordBuffer::ERecordBuffer(std::shared_ptr<const ERecordShape> shape)
    : shape_(std::move(shape)), whole_(true) {
    if (shape_ != nullptr) {
        bytes_ = std::make_unique<std::byte[]>(shape_->ImageBytes());
        ERecordShape::Construct(shape_->Image(), Get());
    }
}

ERecordBuffer& ERecordBuffer::operator=(ERecordBuffer&& other) noexcept {
    shape_.swap(other.shape_);
    bytes_.swap(other.bytes_);
    std::swap(whole_, other.whole_);
    return *this;
}

void ERecordBuffer::Clear() noexcept {
    if (shape_ != nullptr && bytes_ != nullptr) {
        ERecordShape::Clear(whole_ ? shape_->Image() : shape_->Record(), Get());
    }
}

void ERecordBuffer::Release() noexcept {
    if (shape_ != nullptr && bytes_ != nullptr) {
        ERecordShape::Destroy(whole_ ? shape_->Image() : shape_->Record(), Get());
    }
}

}  // namespace etabulon
