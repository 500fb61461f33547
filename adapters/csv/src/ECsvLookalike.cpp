#include "ECsvLookalike.h"

#include "etabulon/csv/ECsvTypes.h"

#include <algorithm>
#include <array>

namespace etabulon {

namespace {

// What a cell may be in another notation: bits.
constexpr std::uint32_t kOtherDecimal = 1;
constexpr std::uint32_t kThousands = 2;         // beside the file's decimal character
constexpr std::uint32_t kOtherThousands = 256;  // beside the other one
constexpr std::uint32_t kDate = 4;              // and the next two bits, by ECsvDates
constexpr std::uint32_t kTimestamp = 32;        // in the same way
constexpr ECsvDates kOrders[] = {ECsvDates::DayFirst, ECsvDates::MonthFirst, ECsvDates::YearFirst};

char OtherDecimal(char decimal) noexcept { return decimal == '.' ? ',' : '.'; }

unsigned int Shift(ECsvDates dates) noexcept {
    return static_cast<unsigned int>(dates) - static_cast<unsigned int>(ECsvDates::DayFirst);
}

bool IsNumber(ECsvType type) noexcept {
    return type == ECsvType::Whole || type == ECsvType::Large || type == ECsvType::Real;
}

std::size_t TakeDigits(std::string_view& text) noexcept {
    const std::size_t count = std::min(text.find_first_not_of("0123456789"), text.size());
    text.remove_prefix(count);
    return count;
}

/// Removes a separator of thousands, which may be a no-break space, and returns it.
std::string_view TakeSeparator(std::string_view& text) noexcept {
    for (const std::string_view separator :
         {",", ".", "'", " ", "\xC2\xA0", "\xE2\x80\xAF", "\xE2\x80\x99"}) {
        if (text.starts_with(separator)) {
            text.remove_prefix(separator.size());
            return separator;
        }
    }
    return {};
}

/// 1,234 and -1,234,567.89: groups of three digits behind the first one, which has one to three.
bool HasThousands(std::string_view text, char decimal) noexcept {
    if (text.starts_with('-') || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool hasZero = text.starts_with('0');
    const std::size_t first = TakeDigits(text);
    const std::string_view separator = TakeSeparator(text);
    if (hasZero || first == 0 || first > 3 || separator.empty() || separator[0] == decimal ||
        TakeDigits(text) != 3) {
        return false;
    }
    while (text.starts_with(separator)) {
        text.remove_prefix(separator.size());
        if (TakeDigits(text) != 3) {
            return false;
        }
    }
    if (text.starts_with(decimal)) {
        text.remove_prefix(1);
        TakeDigits(text);
    }
    return text.empty();
}

/// The bits of a date in this order, or of an ISO date, which is one in every order.
std::uint32_t DateForms(std::string_view text, ECsvDates order) noexcept {
    std::array<char, kCsvIsoCapacity> iso;
    const std::string_view spelled = CsvIsoSpelling(text, order, iso.data());
    const ECsvType type = CsvTypeOf(spelled.empty() ? text : spelled);
    return type == ECsvType::Date ? kDate : type == ECsvType::Timestamp ? kTimestamp : 0;
}

/// Those of `wanted` that the cell may be.
std::uint32_t FormsOf(std::string_view text, std::uint32_t wanted,
                      const ECsvNotation& notation) noexcept {
    std::uint32_t forms = 0;
    if ((wanted & (kOtherDecimal | kThousands | kOtherThousands)) != 0) {
        const char own = notation.decimal;
        const char other = OtherDecimal(own);
        if (IsNumber(CsvTypeOf(text, {other, ECsvDates::Iso}))) {
            forms |= kOtherDecimal | kOtherThousands;
        } else if (HasThousands(text, other)) {
            forms |= kOtherThousands;
        }
        if (IsNumber(CsvTypeOf(text, {own, ECsvDates::Iso})) || HasThousands(text, own)) {
            forms |= kThousands;
        }
    }
    for (const ECsvDates order : kOrders) {
        if ((wanted & ((kDate | kTimestamp) << Shift(order))) != 0) {
            forms |= DateForms(text, order) << Shift(order);
        }
    }
    return forms & wanted;
}

}  // namespace

void ECsvLookalike::Take(std::span<const std::string_view> cells, const ECsvNotation& notation) {
    for (const std::string_view cell : cells) {
        if (cell.empty()) {
            continue;
        }
        forms_ = FormsOf(cell, forms_, notation);
        if (forms_ == 0) {
            return;
        }
        if ((forms_ & (kThousands | kOtherThousands)) != 0) {
            KeepGrouped(cell, notation.decimal, OtherDecimal(notation.decimal));
        }
        if (example_.empty() && CsvTypeOf(cell, notation) == ECsvType::Text) {
            example_ = cell;
        }
    }
}

void ECsvLookalike::KeepGrouped(std::string_view cell, char own, char other) {
    if (grouped_.empty() && HasThousands(cell, own)) {
        grouped_ = cell;
    }
    if (otherGrouped_.empty() && HasThousands(cell, other)) {
        otherGrouped_ = cell;
    }
    hasOther_ = hasOther_ || cell.find(other) != std::string_view::npos;
}

bool ECsvLookalike::Tell(const ECsvNotation& notation, ECsvHint& hint) const {
    const bool isNumber = (forms_ & kOtherDecimal) != 0;
    const bool isGrouped = (forms_ & kThousands) != 0 && !grouped_.empty();
    const bool isOtherGrouped =
        !isGrouped && (forms_ & kOtherThousands) != 0 && !otherGrouped_.empty();
    hint.hasThousands = isGrouped || isOtherGrouped;
    if (example_.empty() ||
        (!hint.hasThousands && (forms_ & ~(kThousands | kOtherThousands)) == 0)) {
        return false;
    }
    const char other = OtherDecimal(notation.decimal);
    hint.example = isGrouped ? grouped_ : isOtherGrouped ? otherGrouped_ : example_;
    hint.decimal = isNumber ? other : '\0';
    // Without it the points of whole numbers are separators as well.
    hint.groupedDecimal = isOtherGrouped && hasOther_ ? other : '\0';
    for (const ECsvDates order : kOrders) {
        if ((forms_ & ((kDate | kTimestamp) << Shift(order))) != 0) {
            hint.dates.push_back(order);
            hint.haveTimes = (forms_ & (kTimestamp << Shift(order))) != 0;
        }
    }
    return true;
}

}  // namespace etabulon
