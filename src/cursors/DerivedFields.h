#pragma once

#include "etabulon/cursors/ETabulonCursorEData.h"
#include "etabulon/foundation/EDerivation.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace etabulon {

/// The fields of a cursor that are made from its other fields, in cells of their own.
class ETabulonCursorEData::DerivedFields {
public:
    struct Derived {
        ETabulonVariableID id;
        std::vector<ETabulonVariableID> bases;
        // Made from one number of the record, at less cost than by a look-up of that number.
        bool isPerRecord = false;
    };

    explicit DerivedFields(ETabulonCursorEData& cursor) noexcept : cursor_(cursor) {}

    /// Stores in a field what is made from the values of its bases.
    using StoreValue =
        std::function<void(std::span<const EVariant* const> values, EVariant& field)>;
    /// Adds a field to the cursor. Requires a new name, and bases that resolve.
    void Add(const Derived& derived, int type, StoreValue store);
    [[nodiscard]] bool Has(const ETabulonVariableID& id) const;
    [[nodiscard]] std::size_t Size() const noexcept { return fields_.size(); }
    [[nodiscard]] const Derived& At(std::size_t index) const noexcept { return *fields_[index]; }

    /// Makes all values from those of the current record.
    void Make();
    /// Makes those of which a base is among the written fields, and adds them to these.
    void MakeAgain(std::vector<const EField*>& written);
    /// Makes the value of a field from that of its only base. Returns the field's cell.
    const void* MakeFrom(std::size_t index, const EVariant& base);

private:
    struct Field : Derived {
        Field(const Derived& derived, int type, StoreValue by);
        Field(const Field&) = delete;
        Field& operator=(const Field&) = delete;
        ~Field();

        StoreValue store;
        alignas(std::uint64_t) std::array<std::byte, 16> cell{};
        EField shown;                        // over the cell, as the cursor's field is
        std::vector<const EVariant*> from;   // the cursor's fields
        std::vector<const void*> addresses;  // theirs
    };
    void Bind();
    void BindTo(const EFieldSet& fields);

    ETabulonCursorEData& cursor_;
    std::vector<std::unique_ptr<Field>> fields_;
    // The fields that `from` points into.
    const EField* boundFields_ = nullptr;
    std::uint64_t boundShape_ = 0;
};

}  // namespace etabulon
