#include "etabulon/foundation/EDataType.h"

namespace etabulon {
namespace {

enum class ETextFlag : std::uint8_t { None, Capitals, Folds };

struct ETypeRow {
    ETypeCode code;
    GenericType family;
    EValueClass valueClass;
    EStorage storage;
    std::uint8_t naturalSize;
    std::uint8_t scale = 0;
    ETextFlag text = ETextFlag::None;
};

constexpr auto kNumber = EValueClass::Number;
constexpr auto kDate = EValueClass::Date;
constexpr auto kText = EValueClass::Text;
constexpr auto kBytes = EValueClass::Bytes;
constexpr auto kCapitals = ETextFlag::Capitals;
constexpr auto kFolds = ETextFlag::Folds;

constexpr ETypeRow kRows[] = {
    {TYPE_LONG, GenericNumeric, kNumber, EStorage::Int32, 4},
    {TYPE_DOUBLE, GenericNumeric, kNumber, EStorage::Double, 8},
    {TYPE_OLDBOOL, GenericNumeric, kNumber, EStorage::Bool, 1},
    {TYPE_DECIMAL32, GenericNumeric, kNumber, EStorage::Scaled32, 4, 2},
    {TYPE_INT8, GenericNumeric, kNumber, EStorage::Int8, 1},
    {TYPE_UINT8, GenericNumeric, kNumber, EStorage::UInt8, 1},
    {TYPE_INT16, GenericNumeric, kNumber, EStorage::Int16, 2},
    {TYPE_UINT16, GenericNumeric, kNumber, EStorage::UInt16, 2},
    {TYPE_UINT32, GenericNumeric, kNumber, EStorage::UInt32, 4},
    {TYPE_BOOL, GenericNumeric, kNumber, EStorage::Bool, 1},
    {TYPE_DECIMAL64, GenericNumeric, kNumber, EStorage::Scaled64, 8, 2},
    {TYPE_INT, GenericNumeric, kNumber, EStorage::Int32, 4},
    {TYPE_FLOAT, GenericNumeric, kNumber, EStorage::Float, 4},
    {TYPE_INT64, GenericNumeric, kNumber, EStorage::Int64, 8},
    {TYPE_UINT64, GenericNumeric, kNumber, EStorage::UInt64, 8},
    {TYPE_CURRENCY, GenericNumeric, kNumber, EStorage::Scaled64, 8, 4},
    {TYPE_DATE, GenericDateTime, kDate, EStorage::Date, 4},
    {TYPE_TIME, GenericDateTime, kDate, EStorage::Time, 4},
    {TYPE_TIMESTAMP, GenericDateTime, kDate, EStorage::Timestamp, 8},
    {TYPE_ZSTRING, GenericText, kText, EStorage::ZText, 0},
    {TYPE_STR, GenericText, kText, EStorage::BlankText, 0},
    {TYPE_AUTRE, GenericText, kText, EStorage::ZText, 0},
    {TYPE_CHARACTER, GenericText, kText, EStorage::ZText, 0},
    {TYPE_CSTRING, GenericText, kText, EStorage::OwnedText, 4},
    {TYPE_CHAINE, GenericText, kText, EStorage::OwnedText, 4},
    {TYPE_BLOBTEXT, GenericText, kText, EStorage::OwnedText, 4},
    {TYPE_BLOBRICHTEXT, GenericText, kText, EStorage::OwnedText, 4},
    {TYPE_UP_ZSTRING, GenericText, kText, EStorage::ZText, 0, 0, kCapitals},
    {TYPE_UP_STR, GenericText, kText, EStorage::BlankText, 0, 0, kCapitals},
    {TYPE_UP_AUTRE, GenericText, kText, EStorage::ZText, 0, 0, kCapitals},
    {TYPE_UP_CHARACTER, GenericText, kText, EStorage::ZText, 0, 0, kCapitals},
    {TYPE_UP_CHAINE, GenericText, kText, EStorage::OwnedText, 4, 0, kCapitals},
    {TYPE_NC_ZSTRING, GenericText, kText, EStorage::ZText, 0, 0, kFolds},
    {TYPE_NC_STR, GenericText, kText, EStorage::BlankText, 0, 0, kFolds},
    {TYPE_NC_AUTRE, GenericText, kText, EStorage::ZText, 0, 0, kFolds},
    {TYPE_NC_CHARACTER, GenericText, kText, EStorage::ZText, 0, 0, kFolds},
    {TYPE_NC_CHAINE, GenericText, kText, EStorage::OwnedText, 4, 0, kFolds},
    {TYPE_BLOB, GenericUnknown, kBytes, EStorage::OwnedBytes, 4},
    {TYPE_BLOBIMAGE, GenericMedia, kBytes, EStorage::OwnedBytes, 4},
    {TYPE_BLOBSOUND, GenericMedia, kBytes, EStorage::OwnedBytes, 4},
    {TYPE_BLOBVIDEO, GenericMedia, kBytes, EStorage::OwnedBytes, 4},
    {TYPE_GUID, GenericUnknown, kBytes, EStorage::Raw, 16},
};

constexpr std::array<ETypeInfo, 256> BuildInfos() {
    std::array<ETypeInfo, 256> infos{};
    infos.fill({kBytes, EStorage::Raw, 0, 0, false, false});
    for (const ETypeRow& row : kRows) {
        infos[static_cast<std::size_t>(row.code)] = {row.valueClass,     row.storage,
                                                     row.naturalSize,    row.scale,
                                                     row.text == kFolds, row.text == kCapitals};
    }
    return infos;
}

constexpr std::array<std::int8_t, 256> BuildFamilies() {
    std::array<std::int8_t, 256> families{};
    families.fill(GenericUnknown);
    for (const ETypeRow& row : kRows) {
        families[static_cast<std::size_t>(row.code)] = static_cast<std::int8_t>(row.family);
    }
    return families;
}

constexpr std::array<std::int8_t, 256> kFamilies = BuildFamilies();

}  // namespace

constinit const std::array<ETypeInfo, 256> kTypeInfos = BuildInfos();

GenericType FamilyOf(std::int32_t type) noexcept {
    // Deliberate: by the exact code. A code that was sign-extended from its low byte is read and
    // written like the type, but has no family. SignExtendedType.IsStoredByItsLowByte holds it.
    const auto code = static_cast<std::uint32_t>(type);
    return code < kFamilies.size() ? static_cast<GenericType>(kFamilies[code]) : GenericUnknown;
}

}  // namespace etabulon
