#pragma once

#include "etabulon/foundation/EFieldSet.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>

namespace etabulon::test {

struct Column {
    const char* name;
    std::int32_t type;
    std::uint16_t size;
    unsigned long accelerator = 0;
};

inline EFieldDesc Desc(const Chaine& name, std::int32_t type, std::uint16_t size,
                       unsigned long accelerator = 0) {
    return EFieldDesc(
        name, static_cast<std::uint16_t>(type), size, 0,
        std::make_shared<EFInfosHandlerLocal>(name, name, std::uint16_t{0}, accelerator));
}

inline PTableau<EFieldDesc> Descs(std::initializer_list<Column> columns) {
    PTableau<EFieldDesc> descs;
    for (const Column& column : columns) {
        descs.Add(Desc(column.name, column.type, column.size, column.accelerator));
    }
    return descs;
}

inline EFieldSet Layout(const PTableau<EFieldDesc>& descs) {
    EFieldSet set;
    set.Attach(descs, nullptr, 0, 0xFFFF);
    return set;
}

inline EField View(const EFieldDesc& desc, void* at) {
    EField field;
    field.Attach(desc, at, false);
    return field;
}

/// A field set and the record that it views.
struct Record {
    explicit Record(const PTableau<EFieldDesc>& descs) : Record(Layout(descs)) {}
    explicit Record(const EFieldSet& layout) : fields(layout), buffer(fields) {
        fields.ChangeBuffer(buffer.Get(), false);
    }
    EFieldSet fields;
    ERecordBuffer buffer;
};

/// "1|text|-": the values as texts, "-" for a missing one.
inline Chaine Values(const EFieldSet& fields) {
    Chaine text;
    for (std::size_t i = 0; i < fields.Size(); ++i) {
        const EField& field = fields.At(static_cast<std::uint16_t>(i));
        if (i != 0) {
            text.Append('|');
        }
        text += field.IsMissing() ? Chaine("-") : field.AsChaine();
    }
    return text;
}

/// The body that a text slot holds; null for a missing one.
inline const void* BodyAt(const EField& slot) {
    const void* body = nullptr;
    std::memcpy(&body, slot.Address(), sizeof(body));
    return body;
}

}  // namespace etabulon::test
