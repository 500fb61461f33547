#include "etabulon/foundation/EVariant.h"
#include "foundation/EDates.h"
#include "foundation/EVariantAccess.h"
#include "foundation/EVariantNumber.h"

namespace etabulon {
namespace {

constexpr unsigned int kCurrencyScale = 4;

EVariant MakeWhole(EWide number) noexcept {
    if (number > std::numeric_limits<std::int64_t>::max()) {
        return EVariantAccess::Make(TYPE_UINT64, ClampTo<std::uint64_t>(number));
    }
    return EVariantAccess::Make(TYPE_INT64, ClampTo<std::int64_t>(number));
}

EVariant AddNumbers(const EContent& left, const EContent& right) noexcept {
    const ENumber a = ReadNumber(left);
    const ENumber b = ReadNumber(right);
    if (a.IsFloating() || b.IsFloating()) {
        return EVariant::FromDouble(a.ToDouble() + b.ToDouble());
    }
    const unsigned int scale = a.scale > b.scale ? a.scale : b.scale;
    const EWide sum = a.AtScale(scale) + b.AtScale(scale);
    if (scale == 0) {
        return MakeWhole(sum);
    }
    return EVariantAccess::Make(scale == kCurrencyScale ? TYPE_CURRENCY : TYPE_DECIMAL64,
                                ClampTo<std::int64_t>(sum));
}

// Adds a number of days to a date, or milliseconds to a time or timestamp; a time counts as a
// number of milliseconds. The result is `date` itself where it is no day, where a date or timestamp
// is added, and where a time is added to a date.
EVariant AddToDate(const EVariant& date, const EContent& content, const EContent& added) noexcept {
    const bool time = added.info->storage == EStorage::Time;
    const bool onDate = content.info->storage == EStorage::Date;
    const ENumber number = ReadNumber(added);
    if (number.IsNaN() || (added.info->valueClass == EValueClass::Date && (!time || onDate))) {
        return date;
    }
    const EWide amount = number.AtScale(0);
    if (content.info->storage == EStorage::Timestamp) {
        return EVariantAccess::Make(date.Type(),
                                    ClampTo<std::int64_t>(content.As<std::int64_t>() + amount));
    }
    if (!onDate) {
        return EVariantAccess::Make(date.Type(),
                                    ClampTo<std::int32_t>(content.As<std::int32_t>() + amount));
    }
    std::int64_t day = 0;
    std::int32_t sum = 0;
    if (!DayOfDate(content.As<std::int32_t>(), day)) {
        return date;
    }
    const EWide wide = day + amount;
    if (!DateOfDay(wide < 0              ? 0
                   : wide > kLastDateDay ? kLastDateDay
                                         : static_cast<std::int64_t>(wide),
                   sum)) {
        return date;
    }
    return EVariantAccess::Make(date.Type(), sum);
}

EVariant AddDates(const EVariant& left, const EContent& a, const EVariant& right,
                  const EContent& b) noexcept {
    const bool leftDate = a.info->valueClass == EValueClass::Date;
    const bool rightDate = b.info->valueClass == EValueClass::Date;
    // A time is the amount and the timestamp the date, whichever side each stands on.
    const bool swapped = !leftDate || (rightDate && a.info->storage == EStorage::Time &&
                                       b.info->storage == EStorage::Timestamp);
    return swapped ? AddToDate(right, b, a) : AddToDate(left, a, b);
}

// A whole left side divides in double; a scaled one divides in 128 bits, with one rounding.
EVariant DivideExact(const EVariant& left, const ENumber& a, const ENumber& b) noexcept {
    if (a.scale == 0) {
        return EVariant::FromDouble(a.ToDouble() / b.ToDouble());
    }
    const EWide divisor = b.whole < 0 ? -b.whole : b.whole;
    const EWide scaled = (b.whole < 0 ? -a.whole : a.whole) * PowerOfTen(b.scale);
    const EWide quotient = DivideHalfEven(scaled, divisor);
    return TypeInfo(left.Type()).storage == EStorage::Scaled32
               ? EVariantAccess::Make(left.Type(), ClampTo<std::int32_t>(quotient))
               : EVariantAccess::Make(left.Type(), ClampTo<std::int64_t>(quotient));
}

EVariant DivideNumbers(const EVariant& left, const ENumber& a, const ENumber& b) noexcept {
    if (a.IsExact() && b.IsExact()) {
        return DivideExact(left, a, b);
    }
    const double quotient = a.ToDouble() / b.ToDouble();
    EVariant result = EVariant::FromDouble(quotient);
    if (a.IsExact() && a.scale != 0) {
        EVariant scaled = EVariant::Missing(left.Type(), left.Size());
        scaled <<= result;
        return scaled;
    }
    return result;
}

}  // namespace

EVariant& EVariant::operator/=(const EVariant& divisor) {
    const EContent left = EVariantAccess::Read(*this);
    const EContent right = EVariantAccess::Read(divisor);
    if (left.IsMissing() || right.IsMissing() || left.info->valueClass != EValueClass::Number ||
        right.info->valueClass != EValueClass::Number) {
        return *this;
    }
    const ENumber b = ReadNumber(right);
    if (b.IsNaN() || (b.IsExact() && b.whole == 0) || (b.IsFloating() && b.floating == 0)) {
        return *this;
    }
    EVariant quotient = DivideNumbers(*this, ReadNumber(left), b);
    if (kind_ == Kind::View) {
        return *this <<= quotient;
    }
    return *this = std::move(quotient);
}

void EVariant::AddOther(const EVariant& other) {
    if (kind_ == Kind::View) {
        *this <<= *this + other;
    } else {
        *this = *this + other;
    }
}

EVariant operator+(const EVariant& left, const EVariant& right) {
    const EContent a = EVariantAccess::Read(left);
    const EContent b = EVariantAccess::Read(right);
    if (b.IsMissing()) {
        return EVariantAccess::IsEmpty(left) ? right : left;
    }
    if (a.IsMissing()) {
        return right;
    }
    const EValueClass leftClass = a.info->valueClass;
    const EValueClass rightClass = b.info->valueClass;
    if (leftClass == EValueClass::Text || rightClass == EValueClass::Text) {
        return EVariant(left.AsChaine() + right.AsChaine());
    }
    if (leftClass == EValueClass::Bytes || rightClass == EValueClass::Bytes) {
        return left;
    }
    if (leftClass == EValueClass::Date || rightClass == EValueClass::Date) {
        return AddDates(left, a, right, b);
    }
    return AddNumbers(a, b);
}

}  // namespace etabulon
