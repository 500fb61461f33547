#include "etabulon/foundation/EField.h"

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/ENeverDestroyed.h"

#include <memory>
#include <new>
#include <utility>

namespace etabulon {

namespace {

// Raw storage: its address is a constant, so that IsEmptyField is one comparison.
alignas(EField) constinit unsigned char emptyFieldBytes[sizeof(EField)]{};

bool IsEmptyField(const EField* field) noexcept {
    return static_cast<const void*>(field) == emptyFieldBytes;
}

const Chaine& NoName() noexcept {
    static const detail::ENeverDestroyed<Chaine> name;
    return name.value;
}

const EFInfosHandler& NoInfos() noexcept {
    static const detail::ENeverDestroyed<EFInfosHandler> infos;
    return infos.value;
}

}  // namespace

bool EFInfosHandler::GetBorne(EVariant&, EVariant&) const { return false; }

struct EFieldDesc::Body {
    Chaine name;
    std::shared_ptr<EFInfosHandler> infos;
    std::uint16_t type = 0;
    std::uint16_t size = 0;
    std::uint16_t storage = 0;
    std::uint16_t offset = 0;
    bool isSlot = false;
    bool isNullable = false;
};

EFieldDesc::EFieldDesc(const Chaine& name, std::uint16_t type, std::uint16_t size,
                       std::uint16_t offset, std::shared_ptr<EFInfosHandler> infos) {
    const ETypeInfo& info = TypeInfo(type);
    auto body = std::make_shared<Body>();
    body->name = name;
    body->infos = std::move(infos);
    body->type = type;
    body->offset = offset;
    body->isSlot = info.IsSlot();
    if (info.IsSlot()) {
        body->size = info.naturalSize;
        body->storage = sizeof(Chaine);
    } else if (info.IsFixedSize()) {
        body->isNullable = size == info.naturalSize + 1;
        body->size = info.naturalSize;
        body->storage = static_cast<std::uint16_t>(info.naturalSize + (body->isNullable ? 1 : 0));
    } else {
        body->size = size;
        body->storage = size;
    }
    body_ = std::move(body);
}

const Chaine& EFieldDesc::Name() const noexcept { return IsNull() ? NoName() : body_->name; }
std::uint16_t EFieldDesc::Type() const noexcept { return IsNull() ? 0 : body_->type; }
std::uint16_t EFieldDesc::Size() const noexcept { return IsNull() ? 0 : body_->size; }
std::uint16_t EFieldDesc::StorageSize() const noexcept { return IsNull() ? 0 : body_->storage; }
std::uint16_t EFieldDesc::Offset() const noexcept { return IsNull() ? 0 : body_->offset; }
bool EFieldDesc::IsSlot() const noexcept { return !IsNull() && body_->isSlot; }
bool EFieldDesc::IsNullable() const noexcept { return !IsNull() && body_->isNullable; }

const EFInfosHandler& EFieldDesc::Infos() const noexcept {
    return IsNull() || body_->infos == nullptr ? NoInfos() : *body_->infos;
}

EVariant::Layout EField::LayoutOf(const EFieldDesc& desc) noexcept {
    if (desc.IsSlot()) {
        return Layout::Slot;
    }
    if (desc.IsNullable()) {
        return Layout::Nullable;
    }
    return TypeInfo(desc.Type()).IsFixedSize() ? Layout::Plain : Layout::Sized;
}

EField::EField() noexcept : EVariant(0, 0, Layout::Sized, nullptr) {}

EField::EField(const EFieldDesc& desc, void* address) noexcept
    : EVariant(desc.Type(), desc.Size(), LayoutOf(desc), address), desc_(desc) {}

EField::EField(const EField& other) noexcept : EField(other.desc_, other.ViewAddress()) {}

EField& EField::operator=(const EField& other) noexcept {
    if (this != &other && !IsEmptyField(this)) {
        // A view's type and layout are fixed at its construction, so assignment constructs it
        // again.
        std::destroy_at(this);
        ::new (static_cast<void*>(this)) EField(other);
    }
    return *this;
}

EField& EField::Empty() noexcept {
    static EField* const field = ::new (static_cast<void*>(emptyFieldBytes)) EField;
    return *field;
}

void EField::Attach(const EFieldDesc& desc, void* buffer, [[maybe_unused]] bool takeOwnership) {
    E_EXPECTS(!takeOwnership);
    *this = EField(desc, buffer);
}

}  // namespace etabulon
