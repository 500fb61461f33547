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
    };

    explicit DerivedFields(ETabulonCursorEData& cursor) noexcept : cursor_(cursor) {}

    /// Adds a field to the cursor. Requires a new name, and bases that resolve.
    void Add(const ETabulonVariableID& id, const std::vector<ETabulonVariableID>& bases, int type,
             MakeValue make);
    [[nodiscard]] bool Has(const ETabulonVariableID& id) const;
    [[nodiscard]] std::size_t Size() const noexcept { return fields_.size(); }
    [[nodiscard]] const Derived& At(std::size_t index) const noexcept { return *fields_[index]; }

    /// Makes all values from those of the current record.
    void Make();
    /// Makes those of which a base is among the written fields, and adds them to these.
    void MakeAgain(std::vector<const EField*>& written);

private:
    struct Field : Derived {
        Field(const ETabulonVariableID& ofID, const std::vector<ETabulonVariableID>& ofBases,
              int type, MakeValue by);
        Field(const Field&) = delete;
        Field& operator=(const Field&) = delete;
        ~Field();

        MakeValue make;
        alignas(std::uint64_t) std::array<std::byte, 16> cell{};
        EField shown;                        // over the cell, as the cursor's field is
        std::vector<const EVariant*> from;   // the cursor's fields
        std::vector<const void*> addresses;  // theirs
    };
    void Bind();

    ETabulonCursorEData& cursor_;
    std::vector<std::unique_ptr<Field>> fields_;
    // The fields that `from` points into.
    const EField* boundFields_ = nullptr;
    std::uint64_t boundShape_ = 0;
};

}  // namespace etabulon
