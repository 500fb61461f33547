#include "etabulon/foundation/EDerivation.h"

#include "etabulon/foundation/EExpects.h"
#include "etabulon/foundation/detail/Utf8.h"
#include "foundation/EDates.h"
#include "foundation/EVariantAccess.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace etabulon {
namespace {

constexpr std::int64_t kDaysOfWeek = 7;
constexpr std::int64_t kThursday = 3;  // from Monday, 0
constexpr std::int64_t kMillisecondsPerHour = 3600000;
constexpr std::int64_t kMonthsPerQuarter = 3;
constexpr double kMostExact = 9007199254740992.0;  // 2^53

constexpr std::int64_t FloorDivide(std::int64_t number, std::int64_t divisor) noexcept {
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

/// 0001-01-01, day 0, is a Monday.
std::int64_t WeekdayOf(std::int64_t day) noexcept {
    return day - FloorDivide(day, kDaysOfWeek) * kDaysOfWeek;
}

std::int64_t WeekOf(std::int64_t day) noexcept {
    const std::int64_t thursday = day - WeekdayOf(day) + kThursday;
    const std::int64_t newYear = DayOfCivil({CivilOfDay(thursday).year, 1, 1});
    return (thursday - newYear) / kDaysOfWeek + 1;
}

// ------------------------------------------------------------------------------- parts of dates

using Kind = EDerivation::Kind;

constexpr bool IsOfCivil(Kind kind) noexcept { return kind <= Kind::Month || kind == Kind::Day; }

/// Requires IsOfCivil.
std::int64_t PartOfCivil(Kind kind, const ECivil& civil) noexcept {
    switch (kind) {
        case Kind::Year:
            return civil.year;
        case Kind::Quarter:
            return (civil.month - 1) / kMonthsPerQuarter + 1;
        case Kind::Month:
            return civil.month;
        default:
            return civil.day;
    }
}

std::int64_t PartOfDay(Kind kind, std::int64_t day) noexcept {
    return kind == Kind::Week ? WeekOf(day) : WeekdayOf(day) + 1;
}

std::int64_t PartOfTimestamp(Kind kind, std::int64_t timestamp) noexcept {
    const std::int64_t day = DayOfTimestamp(timestamp);
    if (kind == Kind::Hour) {
        return (timestamp - day * kMillisecondsPerDay) / kMillisecondsPerHour;
    }
    return IsOfCivil(kind) ? PartOfCivil(kind, CivilOfDay(day)) : PartOfDay(kind, day);
}

/// The bytes of the first characters.
std::size_t LengthOfLetters(std::string_view text, std::uint32_t letters) noexcept {
    std::size_t length = 0;
    for (; letters != 0 && length < text.size(); --letters) {
        length += std::max<std::size_t>(detail::FirstCharacter(text.substr(length)).length, 1);
    }
    return length;
}

}  // namespace

EDerivation EDerivation::Bin(double width) noexcept {
    E_EXPECTS(width > 0 && std::isfinite(width));
    EDerivation bin(Kind::Bin);
    bin.SetWidth(width);
    return bin;
}

EDerivation EDerivation::Bins(double lowest, double highest, std::uint32_t groups) noexcept {
    E_EXPECTS(lowest <= highest && std::isfinite(lowest) && std::isfinite(highest) && groups != 0);
    EDerivation bins(Kind::Bin);
    bins.count_ = groups;
    bins.origin_ = lowest;
    // The width of one group plays no part, and may be too large for a number.
    bins.SetWidth(groups == 1 ? 0 : highest / groups - lowest / groups);
    return bins;
}

/// A width of few decimals is kept as a whole number of them too, so that 3 * 0.1 is 0.3.
void EDerivation::SetWidth(double width) noexcept {
    constexpr double kFinest = 1e9;
    width_ = units_ = width;
    perUnit_ = 1;
    for (double power = 10; power <= kFinest && std::trunc(units_) != units_; power *= 10) {
        const double units = std::round(width * power);
        if (units != 0 && units / power == width && units < kMostExact) {
            units_ = units;
            perUnit_ = power;
        }
    }
}

EDerivation EDerivation::First(std::uint32_t letters) noexcept {
    E_EXPECTS(letters != 0);
    EDerivation first(Kind::First);
    first.count_ = letters;
    return first;
}

bool EDerivation::Takes(int type) const noexcept {
    const ETypeInfo& info = TypeInfo(type);
    switch (kind_) {
        case Kind::Bin:
            return info.valueClass == EValueClass::Number && info.storage != EStorage::Bool;
        case Kind::First:
            return info.valueClass == EValueClass::Text;
        case Kind::Hour:
            return info.storage == EStorage::Time || info.storage == EStorage::Timestamp;
        default:
            return info.storage == EStorage::Date || info.storage == EStorage::Timestamp;
    }
}

/// Groups of whole numbers, which begin at whole ones too.
bool EDerivation::IsOfWholeNumbers(int type) const noexcept {
    const ETypeInfo& info = TypeInfo(type);
    return info.storage <= EStorage::UInt32 && count_ == 0 && width_ <= kMostExact &&
           std::trunc(width_) == width_;
}

int EDerivation::ResultType(int type) const noexcept {
    switch (kind_) {
        case Kind::Bin:
            return IsOfWholeNumbers(type) ? TYPE_INT64 : TYPE_DOUBLE;
        case Kind::First:
            return TYPE_CHAINE;
        default:
            return TYPE_LONG;
    }
}

std::uint16_t EDerivation::ResultSize(int type) const noexcept {
    return TypeInfo(ResultType(type)).naturalSize;
}

EVariant EDerivation::Of(const EVariant& value) const {
    if (IsPartOfDate()) {
        std::int32_t part = 0;
        return ReadPart(EVariantAccess::Read(value), part)
                   ? EVariant(int{part})
                   : EVariant::Missing(TYPE_LONG, sizeof part);
    }
    if (value.IsMissing() || !Takes(value.Type())) {
        return EVariant::Missing(static_cast<std::uint16_t>(ResultType(value.Type())),
                                 ResultSize(value.Type()));
    }
    return kind_ == Kind::Bin ? GroupOf(value) : BeginningOf(value);
}

void EDerivation::StoreOf(const EVariant& value, EVariant& cell) const {
    if (!IsPartOfDate() || cell.Type() != TYPE_LONG) {
        cell <<= Of(value);
        return;
    }
    std::int32_t part = 0;
    if (ReadPart(EVariantAccess::Read(value), part)) {
        EVariantAccess::PutFixed(cell, &part);
    } else {
        cell.SetMissing();
    }
}

bool EDerivation::ReadPart(const EContent& moment, std::int32_t& part) const noexcept {
    if (moment.IsMissing()) {
        return false;
    }
    switch (moment.info->storage) {
        case EStorage::Date: {
            ECivil civil{};
            if (kind_ == Kind::Hour || !CivilOfDate(moment.As<std::int32_t>(), civil)) {
                return false;
            }
            part = static_cast<std::int32_t>(
                IsOfCivil(kind_) ? PartOfCivil(kind_, civil) : PartOfDay(kind_, DayOfCivil(civil)));
            return true;
        }
        case EStorage::Time:
            part = static_cast<std::int32_t>(
                FloorDivide(moment.As<std::int32_t>(), kMillisecondsPerHour));
            return kind_ == Kind::Hour;
        case EStorage::Timestamp:
            part = static_cast<std::int32_t>(PartOfTimestamp(kind_, moment.As<std::int64_t>()));
            return true;
        default:
            return false;
    }
}

EVariant EDerivation::GroupOf(const EVariant& value) const {
    if (IsOfWholeNumbers(value.Type())) {
        const auto width = static_cast<std::int64_t>(width_);
        std::int64_t lowest = 0;
        if (__builtin_mul_overflow(FloorDivide(value.AsInt64(), width), width, &lowest)) {
            lowest = std::numeric_limits<std::int64_t>::min();
        }
        return EVariant::FromInt64(lowest);
    }
    const double number = value.AsDouble();
    const double quotient = number / width_ - origin_ / width_;
    if (count_ == 0 && !(std::fabs(quotient) < kMostExact)) {
        return EVariant::FromDouble(number);  // a group of its own
    }
    const auto beginningOf = [this](double group) { return origin_ + group * units_ / perUnit_; };
    // A number at a border belongs to the group above it, though both are rounded.
    const double rounding = std::min(4 * std::numeric_limits<double>::epsilon() *
                                         std::max(std::fabs(number), std::fabs(origin_)),
                                     width_ / 1000);
    double group = std::floor(quotient);
    if (beginningOf(group + 1) - number <= rounding) {
        ++group;
    } else if (beginningOf(group) - number > rounding) {
        --group;
    }
    if (count_ != 0) {
        group = width_ == 0 ? 0 : std::clamp(group, 0.0, static_cast<double>(count_ - 1));
    }
    return EVariant::FromDouble(beginningOf(group));
}

EVariant EDerivation::BeginningOf(const EVariant& value) const {
    const std::string_view text = TextOf(EVariantAccess::Read(value));
    return EVariant(text.substr(0, LengthOfLetters(text, count_)));
}

}  // namespace etabulon
