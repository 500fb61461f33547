#pragma once

#include "etabulon/foundation/EFieldSet.h"

#include <memory>

namespace etabulon {

/// A detached copy of a field set's values: its shape and one packed image of all its fields, the
/// added ones behind the record. Texts share bodies.
///
/// Ownership  the image is owned; nothing of the set's record is needed afterwards.
/// Threads    one thread at a time, const operations included: Fields makes its set when first
/// asked.
class ETABULON_API EExtract {
public:
    EExtract() = default;
    explicit EExtract(const EFieldSet& fields) { *this = fields; }
    EExtract(const EExtract& other) { *this = other; }
    EExtract& operator=(const EExtract& other);
    EExtract(EExtract&& other) noexcept = default;
    EExtract& operator=(EExtract&& other) noexcept = default;
    ~EExtract() = default;

    /// Takes the values; over values of the same shape nothing is allocated.
    EExtract& operator=(const EFieldSet& fields);
    [[nodiscard]] bool IsEmpty() const noexcept;
    /// The number of the shape that the values came with; see EFieldSet::ShapeNumber.
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept;
    /// A view of the value of one field of that shape, made on the spot.
    [[nodiscard]] EField Field(std::uint16_t index) const;
    /// The index of a field, or -1.
    [[nodiscard]] int IndexOf(const Chaine& name) const noexcept;
    /// The values, as fields on the own image. The set is kept; values taken later show in it as
    /// long as the shape stays.
    [[nodiscard]] const EFieldSet& Fields() const;

private:
    friend class EFieldSet;
    [[nodiscard]] bool HasShape(const ERecordShape* shape) const noexcept;
    void Take(ERecordBuffer image) noexcept;

    ERecordBuffer image_;
    mutable std::unique_ptr<EFieldSet> fields_;  // views image_; null until asked for
};

}  // namespace etabulon
