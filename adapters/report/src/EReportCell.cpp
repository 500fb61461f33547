#include "etabulon/report/EReportCell.h"

#include "etabulon/foundation/EDataType.h"
#include "etabulon/values/ETabulonValue.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <span>

namespace etabulon {
namespace {

std::string_view BytesOf(const EVariant& value) noexcept {
    return {static_cast<const char*>(value.GetBuffer()), value.ByteCount()};
}

EReportForm FormOf(EStorage storage) noexcept {
    switch (storage) {
        case EStorage::Int8:
        case EStorage::Int16:
        case EStorage::Int32:
        case EStorage::Int64:
        case EStorage::UInt8:
        case EStorage::UInt16:
        case EStorage::UInt32:
        case EStorage::UInt64:
        case EStorage::Bool:
            return EReportForm::Whole;
        case EStorage::Double:
        case EStorage::Float:
        case EStorage::Scaled32:
        case EStorage::Scaled64:
            return EReportForm::Real;
        case EStorage::Date:
            return EReportForm::Date;
        case EStorage::Time:
            return EReportForm::Time;
        case EStorage::Timestamp:
            return EReportForm::DateTime;
        default:
            return EReportForm::None;
    }
}

bool IsDigit(char c) noexcept { return c >= '0' && c <= '9'; }

/// 100000 instead of 1e+05, in `digits`; other texts as they are.
std::string_view WithoutExponent(std::string_view text, double number,
                                 std::span<char> digits) noexcept {
    constexpr double kTooLarge = 1e15;  // a real has the digits of all whole numbers below
    const double size = std::fabs(number);
    if (text.find('e') == text.npos || !(size >= 1 && size < kTooLarge)) {
        return text;
    }
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                       std::chars_format::fixed);
    return {digits.data(), static_cast<std::size_t>(written.ptr - digits.data())};
}

}  // namespace

bool IsMistakable(std::string_view text) noexcept {
    return text.empty() || text == "NULL" || text == kDiffering || text.front() == ' ' ||
           text.back() == ' ' || text.front() == '"';
}

ETabulonValue ReportPercent(const std::optional<double>& share) {
    if (!share) {
        return ETabulonValue::Null;
    }
    const double rounded = std::round(*share * 100) / 100;
    return ETabulonValue(EVariant(rounded == 0 ? 0.0 : rounded), Chaine(), /*modified=*/false);
}

EReportCell EReportCellMaker::Of(std::int64_t number) {
    const auto end = std::to_chars(digits_.data(), digits_.data() + digits_.size(), number).ptr;
    return {EReportKind::Number,
            {digits_.data(), static_cast<std::size_t>(end - digits_.data())},
            /*indent=*/0,
            EReportForm::Whole};
}

EReportCell EReportCellMaker::Of(const ETabulonValue& value) {
    if (value.IsNull()) {
        return {EReportKind::Absent, {}};
    }
    return value.IsSpecial() ? EReportCell{EReportKind::Differing, kDiffering} : Of(value.Data());
}

EReportCell EReportCellMaker::Of(const EVariant& value) {
    const void* const bytes = value.GetBuffer();
    if (bytes == nullptr) {
        return {};
    }
    const ETypeInfo& info = TypeInfo(value.Type());
    switch (info.storage) {
        case EStorage::OwnedText:
            return {EReportKind::Text, BytesOf(value)};
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
        return {EReportKind::Bytes, BytesOf(value)};
    }
    text_ <<= value;
    std::string_view text = BytesOf(text_);
    if (info.storage == EStorage::Double || info.storage == EStorage::Float) {
        text = WithoutExponent(text, value.AsDouble(), digits_);
    }
    // JSON has no infinity and no NaN: these are written as words.
    const bool isNumber =
        info.valueClass == EValueClass::Number && !text.empty() && IsDigit(text.back());
    return {isNumber ? EReportKind::Number : EReportKind::Text, text, /*indent=*/0,
            FormOf(info.storage)};
}

}  // namespace etabulon
