#include "ECsvLookalike.h"

#include "etabulon/csv/ECsvTypes.h"

#include <algorithm>

namespace etabulon {

namespace {

// What a cell may be in another notation: bits.
constexpr std::uint32_t kOtherDecimal = 1;
constexpr std::uint32_t kThousands = 2;
constexpr std::uint32_t kDate = 4;        // and the next two bits, by ECsvDates
constexpr std::uint32_t kTimestamp = 32;  // in the same way
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

/// 1,234 and -1.234.567,89: groups of three digits behind the first one, which has one to three.
bool HasThousands(std::string_view text) noexcept {
    if (text.starts_with('-') || text.starts_with('+')) {
        text.remove_prefix(1);
    }
    const bool hasZero = text.starts_with('0');
    const std::size_t first = TakeDigits(text);
    const std::string_view separator = TakeSeparator(text);
    if (hasZero || first == 0 || first > 3 || separator.empty() || TakeDigits(text) != 3) {
        return false;
    }
    while (text.starts_with(separator)) {
        text.remove_prefix(separator.size());
        if (TakeDigits(text) != 3) {
            return false;
        }
    }
    if (text.starts_with('.') || text.starts_with(',')) {
        text.remove_prefix(1);
        TakeDigits(text);
    }
    return text.empty();
}

std::uint32_t FormsOf(std::string_view text, const ECsvNotation& notation) noexcept {
    ECsvNotation other = notation;
    other.decimal = OtherDecimal(notation.decimal);
    std::uint32_t forms = IsNumber(CsvTypeOf(text, other)) ? kOtherDecimal | kThousands : 0;
    forms |= IsNumber(CsvTypeOf(text, notation)) || HasThousands(text) ? kThousands : 0;
    for (const ECsvDates order : kOrders) {
        other.dates = order;
        const ECsvType read = CsvTypeOf(text, other);
        forms |= (read == ECsvType::Date        ? kDate
                  : read == ECsvType::Timestamp ? kTimestamp
                                                : 0)
                 << Shift(order);
    }
    return forms;
}

}  // namespace

void ECsvLookalike::Take(std::span<const std::string_view> cells, const ECsvNotation& notation) {
    for (const std::string_view cell : cells) {
        if (cell.empty()) {
            continue;
        }
        const std::uint32_t forms = FormsOf(cell, notation);
        forms_ &= forms;
        if (forms_ == 0) {
            return;
        }
        if (CsvTypeOf(cell, notation) != ECsvType::Text) {
            continue;
        }
        const bool isGrouped = HasThousands(cell);
        isOther_ = isOther_ || (!isGrouped && (forms & kOtherDecimal) != 0);
        if (example_.empty()) {
            example_ = cell;
        }
        if (grouped_.empty() && isGrouped) {
            grouped_ = cell;
        }
    }
}

bool ECsvLookalike::Tell(const ECsvNotation& notation, ECsvHint& hint) const {
    const bool isNumber = (forms_ & kOtherDecimal) != 0;
    hint.hasThousands = (forms_ & kThousands) != 0 && !grouped_.empty() && !(isNumber && isOther_);
    if (example_.empty() || (!hint.hasThousands && (forms_ & ~kThousands) == 0)) {
        return false;
    }
    hint.example = hint.hasThousands ? grouped_ : example_;
    hint.decimal = isNumber ? OtherDecimal(notation.decimal) : '\0';
    for (const ECsvDates order : kOrders) {
        if ((forms_ & ((kDate | kTimestamp) << Shift(order))) != 0) {
            hint.dates.push_back(order);
        }
    }
    return true;
}

}  // namespace etabulon
