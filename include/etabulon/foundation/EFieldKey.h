#pragma once

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/EVariant.h"

#include <array>
#include <cstdint>
#include <vector>

namespace etabulon {

/// One part of a key: a value that owns its bytes.
/// Example    src/tree/TreeKey.cpp
class ETABULON_API ESegment : public EVariant {
public:
    using EVariant::EVariant;
    ESegment() = default;
    ESegment(const EVariant& value) : EVariant(value) {}
    using EVariant::operator=;
};

/// The segments of a key in order. Up to four lie inline, and storage is reused, so that a walk
/// allocates none per record.
/// Example    src/foundation/EFieldKey.cpp
class ETABULON_API ESegmentSet {
public:
    [[nodiscard]] std::uint16_t Size() const noexcept { return size_; }
    [[nodiscard]] const ESegment& At(std::uint16_t index) const noexcept {
        E_EXPECTS(index < size_);
        return index < kInline ? inline_[index] : more_[index - kInline];
    }
    [[nodiscard]] ESegment& At(std::uint16_t index) noexcept {
        E_EXPECTS(index < size_);
        return index < kInline ? inline_[index] : more_[index - kInline];
    }

protected:
    ESegmentSet() = default;
    ESegmentSet(ESegmentSet&& other) noexcept;
    ESegmentSet& operator=(ESegmentSet&&) = delete;  // EFieldKey swaps
    ~ESegmentSet() = default;

    static constexpr std::uint16_t kInline = 4;
    std::uint16_t size_ = 0;
    // Segments after size_ keep their storage for the segments of later keys.
    std::array<ESegment, kInline> inline_;
    std::vector<ESegment> more_;
};

/// The key of a record: typed segments in key order.
/// Example    apps/etabulon/views/CliTreeRecords.h
class ETABULON_API EFieldKey : public ESegmentSet {
public:
    EFieldKey() = default;
    EFieldKey(const EFieldKey& other);
    EFieldKey& operator=(const EFieldKey& other);
    EFieldKey(EFieldKey&& other) noexcept = default;
    EFieldKey& operator=(EFieldKey&& other) noexcept;

    /// Copies the segments' values; storage is reused.
    void Copy(const EFieldKey& other);
    /// No segments; storage stays for the next Copy.
    void Free() noexcept;
    /// Makes the key `size` segments long; new segments are empty. For tables that write their key
    /// in place.
    void Resize(std::uint16_t size);
    void Add(const EVariant& value);

    /// As many segments, each equal to its counterpart.
    friend ETABULON_API bool operator==(const EFieldKey& a, const EFieldKey& b) noexcept;
    /// Agrees with operator==.
    [[nodiscard]] std::uint32_t Hash() const noexcept;
};

}  // namespace etabulon
