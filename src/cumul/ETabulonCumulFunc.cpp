#include "etabulon/cumul/ETabulonCumulFunc.h"

namespace etabulon {

ETabulonCumulFunc::ETabulonCumulFunc(const Chaine& code, const Chaine& displayName, HICON icon)
    : code_(code), displayName_(displayName.IsEmpty() ? code : displayName), icon_(icon) {}

// The references are to the object: a copy starts with its creator's.
ETabulonCumulFunc::ETabulonCumulFunc(const ETabulonCumulFunc& other)
    : EUnknown(other),
      ECountedUnknown(other),
      code_(other.code_),
      displayName_(other.displayName_),
      icon_(other.icon_) {}

ETabulonCumulFunc& ETabulonCumulFunc::operator=(const ETabulonCumulFunc& other) {
    code_ = other.code_;
    displayName_ = other.displayName_;
    icon_ = other.icon_;
    return *this;
}

void ETabulonCumulFunc::AddRef() { references_.fetch_add(1, std::memory_order_relaxed); }

std::int32_t ETabulonCumulFunc::Release() {
    const std::int32_t left = references_.fetch_sub(1, std::memory_order_acq_rel) - 1;
    if (left == 0) {
        // As the plain count does: references taken and released during the destruction don't start
        // another.
        references_.store(1, std::memory_order_relaxed);
        delete this;
    }
    return left;
}

ETabulonCumulBuffer::ETabulonCumulBuffer(ETabulonCumulFunc* function, int type, unsigned int size)
    : function_(ERef<ETabulonCumulFunc>::Retain(function)),
      resultType_(static_cast<std::uint16_t>(function->ResultType(type))),
      resultSize_(static_cast<std::uint16_t>(function->ResultSize(size))) {}

void ETabulonCumulBuffer::SetResult(const EVariant& value) {
    // A first result gets the declared type and size, and keeps them.
    if (result_.Status() != ETabulonValue::ValNormal) {
        EVariant blank;
        blank.Init(resultType_, resultSize_, nullptr);
        result_ = ETabulonValue(blank, Chaine(), /*modified=*/false);
    }
    result_.SetData(value);
}

void ETabulonCumulBuffer::SetResult(const EVariant& value, bool modified) {
    SetResult(value);
    SetModified(modified);
}

void ETabulonCumulBuffer::SetResultNull() { result_ = ETabulonValue::Null; }

void ETabulonCumulBuffer::SetResultNull(bool modified) {
    SetResultNull();
    SetModified(modified);
}

void ETabulonCumulBuffer::SetResultSpecial() { result_ = ETabulonValue::Special; }

void ETabulonCumulBuffer::SetResultSpecial(bool modified) {
    SetResultSpecial();
    SetModified(modified);
}

}  // namespace etabulon
