#include "etabulon/foundation/EFieldKey.h"

#include "etabulon/foundation/detail/EHashMix.h"

#include <utility>

namespace etabulon {

ESegmentSet::ESegmentSet(ESegmentSet&& other) noexcept
    : size_(std::exchange(other.size_, 0)),
      inline_(std::move(other.inline_)),
      more_(std::move(other.more_)) {}

EFieldKey::EFieldKey(const EFieldKey& other) : ESegmentSet() { Copy(other); }

EFieldKey& EFieldKey::operator=(const EFieldKey& other) {
    Copy(other);
    return *this;
}

EFieldKey& EFieldKey::operator=(EFieldKey&& other) noexcept {
    std::swap(size_, other.size_);
    std::swap(inline_, other.inline_);
    more_.swap(other.more_);
    return *this;
}

void EFieldKey::Copy(const EFieldKey& other) {
    if (this == &other) {
        return;
    }
    if (other.size_ > kInline && more_.size() < other.size_ - std::size_t{kInline}) {
        more_.resize(other.size_ - std::size_t{kInline});
    }
    size_ = other.size_;
    for (std::uint16_t i = 0; i < size_; ++i) {
        At(i) = other.At(i);
    }
}

void EFieldKey::Free() noexcept { size_ = 0; }

void EFieldKey::Resize(std::uint16_t size) {
    if (size > kInline && more_.size() < size - std::size_t{kInline}) {
        more_.resize(size - std::size_t{kInline});
    }
    const std::uint16_t first = std::exchange(size_, size);
    for (std::uint16_t i = first; i < size; ++i) {
        At(i) = ESegment();
    }
}

void EFieldKey::Add(const EVariant& value) {
    // Copied first: the value may be a segment of this key, whose storage Resize may move.
    const ESegment kept(value);
    Resize(static_cast<std::uint16_t>(size_ + 1));
    At(static_cast<std::uint16_t>(size_ - 1)) = kept;
}

bool operator==(const EFieldKey& a, const EFieldKey& b) noexcept {
    if (a.size_ != b.size_) {
        return false;
    }
    for (std::uint16_t i = 0; i < a.size_; ++i) {
        if (a.At(i) != b.At(i)) {
            return false;
        }
    }
    return true;
}

std::uint32_t EFieldKey::Hash() const noexcept {
    std::uint64_t hash = size_;
    for (std::uint16_t i = 0; i < size_; ++i) {
        hash = detail::MixHash(hash, At(i).Hash());
    }
    return static_cast<std::uint32_t>(hash);
}

}  // namespace etabulon
