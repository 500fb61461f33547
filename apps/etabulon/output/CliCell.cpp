#include "apps/etabulon/output/CliCell.h"

#include "etabulon/foundation/EDataType.h"
#include "etabulon/values/ETabulonValue.h"

#include <charconv>
#include <cmath>
#include <cstring>

namespace etabulon {
namespace {

std::string_view BytesOf(const EVariant& value) noexcept {
    return {static_cast<const char*>(value.GetBuffer()), value.ByteCount()};
}

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

}  // namespace

bool IsMistakable(std::string_view text) noexcept {
    return text.empty() || text == "NULL" || text == kDiffering || text.front() == ' ' ||
           text.back() == ' ' || text.front() == '"';
}

ETabulonValue CliPercent(const std::optional<double>& share) {
    if (!share) {
        return ETabulonValue::Null;
    }
    const double rounded = std::round(*share * 100) / 100;
    return ETabulonValue(EVariant(rounded == 0 ? 0.0 : rounded), Chaine(), /*modified=*/false);
}

CliCell CliCellMaker::Of(std::int64_t number) {
    const auto end = std::to_chars(digits_.data(), digits_.data() + digits_.size(), number).ptr;
    return {CliCellKind::Number, {digits_.data(), static_cast<std::size_t>(end - digits_.data())}};
}

CliCell CliCellMaker::Of(const ETabulonValue& value) {
    if (value.IsNull()) {
        return {CliCellKind::Absent, {}};
    }
    return value.IsSpecial() ? CliCell{CliCellKind::Differing, kDiffering} : Of(value.Data());
}

CliCell CliCellMaker::Of(const EVariant& value) {
    const void* const bytes = value.GetBuffer();
    if (bytes == nullptr) {
        return {};
    }
    const ETypeInfo& info = TypeInfo(value.Type());
    switch (info.storage) {
        case EStorage::OwnedText:
            return {CliCellKind::Text, BytesOf(value)};
        case EStorage::Int64: {
            std::int64_t number = 0;
            std::memcpy(&number, bytes, sizeof number);
            return Of(number);
        }
        case EStorage::Bool: {
            // An engine stores any number in a boolean column: each stays distinct.
            const std::int64_t number = value.AsInt64();
            return number == 0 || number == 1 ? Of(number == 1) : Of(number);
        }
        default:
            break;
    }
    if (info.valueClass == EValueClass::Bytes && !info.IsFixedSize()) {
        return {CliCellKind::Bytes, BytesOf(value)};
    }
    text_ <<= value;
    const std::string_view text = BytesOf(text_);
    // JSON has no infinity and no NaN: these are written as words.
    const bool isNumber =
        info.valueClass == EValueClass::Number && !text.empty() && IsDigit(text.back());
    return {isNumber ? CliCellKind::Number : CliCellKind::Text, text};
}

}  // namespace etabulon
