#pragma once

#include "etabulon/foundation/EFieldSet.h"

#include <memory>

namespace etabulon {

/// A detached copy of a field set's values: its shape and one packed image of all its fields, the
/// added ones after the record. Texts share bodies.
///
/// Ownership  the image is owned and independent of the set's record.
/// Threads    one thread at a time, const operations included: Fields makes its set at its first
///            call.
/// Example    tests/foundation/FieldTest.cpp
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
    /// The shape number of the set that the values came from; see EFieldSet::ShapeNumber.
    [[nodiscard]] std::uint64_t ShapeNumber() const noexcept;
    /// A view of one field's value; each call makes a view. Requires an index of that shape.
    [[nodiscard]] EField Field(std::uint16_t index) const;
    /// The index of a field, or -1.
    [[nodiscard]] int IndexOf(const Chaine& name) const noexcept;
    /// The values as fields on this image. The set is cached, and shows values taken later until
    /// values of another shape arrive.
    [[nodiscard]] const EFieldSet& Fields() const;

private:
    friend class EFieldSet;
    [[nodiscard]] bool HasShape(const ERecordShape* shape) const noexcept;
    void Take(ERecordBuffer image) noexcept;

    ERecordBuffer image_;
    mutable std::unique_ptr<EFieldSet> fields_;  // views image_; null before Fields
};

}  // namespace etabulon
