#pragma once

#include "etabulon/foundation/EExport.h"

#include <array>
#include <cstdint>

namespace etabulon {

/// The type codes of variables and fields. A code may arrive sign-extended from a signed byte: the
/// low byte decides the storage of a type, the exact code its family.
enum ETypeCode : std::int32_t {
    TYPE_ZSTRING = 0,
    TYPE_LONG = 1,
    TYPE_DOUBLE = 2,
    TYPE_DATE = 4,
    TYPE_TIME = 5,
    TYPE_OLDBOOL = 6,
    TYPE_STR = 7,
    TYPE_AUTRE = 9,
    TYPE_DECIMAL32 = 12,
    TYPE_INT8 = 13,
    TYPE_UINT8 = 14,
    TYPE_INT16 = 15,
    TYPE_UINT16 = 16,
    TYPE_UINT32 = 18,
    TYPE_BOOL = 19,
    TYPE_DECIMAL64 = 20,
    TYPE_CHARACTER = 21,
    TYPE_INT = 22,
    TYPE_FLOAT = 23,
    TYPE_CSTRING = 24,
    TYPE_CHAINE = 25,
    TYPE_INT64 = 26,
    TYPE_UINT64 = 27,
    TYPE_TIMESTAMP = 28,
    TYPE_CURRENCY = 29,
    TYPE_GUID = 30,
    TYPE_BLOB = 32,
    TYPE_BLOBTEXT = 33,
    TYPE_BLOBRICHTEXT = 34,
    TYPE_BLOBIMAGE = 35,
    TYPE_BLOBSOUND = 36,
    TYPE_BLOBVIDEO = 37,
    TYPE_UP_ZSTRING = 128,
    TYPE_UP_STR = 135,
    TYPE_NC_ZSTRING = 136,
    TYPE_UP_AUTRE = 137,
    TYPE_NC_STR = 143,
    TYPE_NC_AUTRE = 145,
    TYPE_UP_CHARACTER = 149,
    TYPE_UP_CHAINE = 153,
    TYPE_NC_CHARACTER = 157,
    TYPE_NC_CHAINE = 161,
};

/// The families of types.
enum GenericType : std::int32_t {
    GenericUnknown = -1,
    GenericNumeric = 2,
    GenericText = 25,
    GenericDateTime = 26,
    GenericMedia = 32,
};

/// The classes in which values compare: a lower class is below a higher one.
enum class EValueClass : std::uint8_t { Number = 0, Date = 1, Text = 2, Bytes = 3 };

/// How the bytes of a type are read.
enum class EStorage : std::uint8_t {
    Int8,
    Int16,
    Int32,
    Int64,
    UInt8,
    UInt16,
    UInt32,
    UInt64,
    Bool,
    Double,
    Float,
    Scaled32,    // int32 with `scale` decimals
    Scaled64,    // int64 with `scale` decimals
    Date,        // int32 yyyymmdd
    Time,        // int32 milliseconds since midnight
    Timestamp,   // int64 milliseconds since 0001-01-01
    ZText,       // declared bytes, content up to NUL or the end
    BlankText,   // declared bytes, blank padded
    OwnedText,   // Chaine; in a record a slot
    OwnedBytes,  // bytes in a Chaine body; in a record a slot
    Raw,         // declared bytes
};

/// The properties of a type code.
struct ETypeInfo {
    EValueClass valueClass;
    EStorage storage;
    std::uint8_t naturalSize;  // bytes; 0 = as declared; 4 (nominal) for owned text and bytes
    std::uint8_t scale;        // decimals of scaled numbers
    bool folds;                // NC_: compared folded
    bool capitals;             // UP_: folded to capitals when stored

    /// A record cell of this type holds a body pointer of sizeof(Chaine) bytes, null = missing.
    [[nodiscard]] constexpr bool IsSlot() const noexcept {
        return storage == EStorage::OwnedText || storage == EStorage::OwnedBytes;
    }
    [[nodiscard]] constexpr bool IsFixedSize() const noexcept {
        return naturalSize != 0 && !IsSlot();
    }
};

/// At the low byte of a code, the properties of its type; any unknown code is Raw bytes.
ETABULON_API extern const std::array<ETypeInfo, 256> kTypeInfos;

[[nodiscard]] inline const ETypeInfo& TypeInfo(std::int32_t type) noexcept {
    return kTypeInfos[static_cast<std::uint8_t>(type)];
}

/// The family of an exact type code; every code not listed is GenericUnknown.
[[nodiscard]] ETABULON_API GenericType FamilyOf(std::int32_t type) noexcept;

}  // namespace etabulon
