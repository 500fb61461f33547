#include "etabulon/sql/ESqlRow.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace etabulon {

namespace {

constexpr double kInt64Limit = 9223372036854775808.0;
/// What arithmetic in doubles leaves of a sum of prices, as a part of the sum and at most as a part
/// of the last decimal. A number that differs by more from one with as many decimals as its column
/// is no value of that.
constexpr double kMostRounding = 1e-9;
constexpr double kMostOfDecimal = 1e-3;

template <class T>
T Load(const std::byte* at) noexcept {
    T value{};
    std::memcpy(&value, at, sizeof value);
    return value;
}

ESqlValue IntegerValue(std::int64_t number) noexcept {
    ESqlValue value;
    value.kind = ESqlValue::Kind::Int;
    value.integer = number;
    return value;
}

ESqlValue RealValue(double number) noexcept {
    ESqlValue value;
    // A column can't distinguish NaN values, and SQLite stores none.
    value.kind = std::isnan(number) ? ESqlValue::Kind::Null : ESqlValue::Kind::Real;
    value.real = number;
    return value;
}

ESqlValue BytesValue(ESqlValue::Kind kind, std::string_view bytes) noexcept {
    ESqlValue value;
    value.kind = kind;
    value.bytes = bytes.data();
    value.size = bytes.size();
    return value;
}

ESqlValue IsoValue(std::string_view text) noexcept {
    return text.empty() ? ESqlValue{} : BytesValue(ESqlValue::Kind::Text, text);
}

ESqlValue SlotValue(const ESqlCell& cell, const std::byte* at) noexcept {
    const auto* body = Load<const Chaine::Body*>(at);
    if (body == nullptr) {
        return {};
    }
    return BytesValue(
        cell.kind == ESqlCell::Kind::Text ? ESqlValue::Kind::Text : ESqlValue::Kind::Blob,
        {body->Text(), body->length - 1});
}

}  // namespace

void ESqlRow::PutOddInteger(const ESqlCell& cell, std::int64_t value) {
    char digits[24];
    std::int64_t scaled = 0;
    switch (cell.kind) {
        case ESqlCell::Kind::Bool:
            if (value >= 0 && value <= 255) {
                return PutNumber(cell, static_cast<std::uint8_t>(value));
            }
            return PutMismatch(cell);
        case ESqlCell::Kind::Double: {
            const auto real = static_cast<double>(value);
            if (real < kInt64Limit && static_cast<std::int64_t>(real) == value) {
                return PutNumber(cell, real);
            }
            return PutMismatch(cell);
        }
        case ESqlCell::Kind::Scaled:
            if (!__builtin_mul_overflow(value, static_cast<std::int64_t>(cell.factor), &scaled)) {
                return PutNumber(cell, scaled);
            }
            return PutMismatch(cell);
        case ESqlCell::Kind::Text: {  // a column that stores values of any type
            const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
            return cell.texts->Store(record + cell.offset, digits,
                                     static_cast<std::size_t>(end - digits));
        }
        default:
            return PutMismatch(cell);
    }
}

void ESqlRow::PutOddReal(const ESqlCell& cell, double value) {
    char digits[40];
    switch (cell.kind) {
        case ESqlCell::Kind::Int64:
            if (value >= -kInt64Limit && value < kInt64Limit && std::trunc(value) == value) {
                return PutNumber(cell, static_cast<std::int64_t>(value));
            }
            return PutMismatch(cell);
        case ESqlCell::Kind::Scaled: {
            const double units = value * cell.factor;
            const double scaled = std::nearbyint(units);
            const bool isWhole =
                std::abs(units - scaled) <=
                std::min(kMostRounding * std::max(1.0, std::abs(units)), kMostOfDecimal);
            if (isWhole && scaled >= -kInt64Limit && scaled < kInt64Limit) {
                return PutNumber(cell, static_cast<std::int64_t>(scaled));
            }
            return PutMismatch(cell);
        }
        case ESqlCell::Kind::Text: {
            const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
            return cell.texts->Store(record + cell.offset, digits,
                                     static_cast<std::size_t>(end - digits));
        }
        default:
            return PutMismatch(cell);
    }
}

void ESqlRow::PutOddText(const ESqlCell& cell, const char* bytes, std::size_t length) {
    const std::string_view text(bytes, length);
    std::int32_t number = 0;
    std::int64_t wide = 0;
    switch (cell.kind) {
        case ESqlCell::Kind::Date:
            return ParseIsoDate(text, number) ? PutNumber(cell, number) : PutMismatch(cell);
        case ESqlCell::Kind::Time:
            return ParseIsoTime(text, number) ? PutMoment(cell, number, text) : PutMismatch(cell);
        case ESqlCell::Kind::Timestamp:
            return ParseIsoTimestamp(text, wide) ? PutMoment(cell, wide, text) : PutMismatch(cell);
        case ESqlCell::Kind::Blob:
            return cell.texts->Store(record + cell.offset, bytes, length);
        default:
            return PutMismatch(cell);
    }
}

ESqlValue ESqlRow::Value(const ESqlCell& cell, const std::byte* record, char* text) {
    const std::byte* const at = record + cell.offset;
    if (IsMissing(cell, record)) {
        return {};
    }
    switch (cell.kind) {
        case ESqlCell::Kind::Int64:
            return IntegerValue(Load<std::int64_t>(at));
        case ESqlCell::Kind::Double:
            return RealValue(Load<double>(at));
        case ESqlCell::Kind::Bool:
            return IntegerValue(Load<std::uint8_t>(at));
        case ESqlCell::Kind::Scaled: {
            const auto number = Load<std::int64_t>(at);
            const auto factor = static_cast<std::int64_t>(cell.factor);
            if (number % factor == 0) {
                return IntegerValue(number / factor);
            }
            return RealValue(static_cast<double>(number) / cell.factor);
        }
        case ESqlCell::Kind::Date:
            return IsoValue(WriteIsoDate(Load<std::int32_t>(at), text));
        case ESqlCell::Kind::Time:
            return IsoValue(WriteIsoTime(Load<std::int32_t>(at), text));
        case ESqlCell::Kind::Timestamp:
            return IsoValue(WriteIsoTimestamp(Load<std::int64_t>(at), text));
        default:
            return SlotValue(cell, at);
    }
}

bool ESqlRow::IsMissing(const ESqlCell& cell, const std::byte* record) noexcept {
    const std::byte* const at = record + cell.offset;
    return cell.IsSlot() ? Load<const Chaine::Body*>(at) == nullptr : at[cell.size] != std::byte{0};
}

bool ESqlRow::IsSame(const ESqlCell& cell, const std::byte* a, const std::byte* b) noexcept {
    const bool isMissing = IsMissing(cell, a);
    if (isMissing || IsMissing(cell, b)) {
        return isMissing == IsMissing(cell, b);
    }
    if (!cell.IsSlot()) {
        return std::memcmp(a + cell.offset, b + cell.offset, cell.size) == 0;
    }
    const auto* left = Load<const Chaine::Body*>(a + cell.offset);
    const auto* right = Load<const Chaine::Body*>(b + cell.offset);
    return left == right || (left->length == right->length &&
                             std::memcmp(left->Text(), right->Text(), left->length) == 0);
}

void AppendKeyValue(std::string& key, const ESqlValue& value) {
    key.push_back(static_cast<char>(value.kind));
    const auto append = [&key](const void* bytes, std::size_t size) {
        key.append(static_cast<const char*>(bytes), size);
    };
    switch (value.kind) {
        case ESqlValue::Kind::Null:
            break;
        case ESqlValue::Kind::Int:
            append(&value.integer, sizeof value.integer);
            break;
        case ESqlValue::Kind::Real:
            append(&value.real, sizeof value.real);
            break;
        default:
            append(&value.size, sizeof value.size);
            append(value.bytes, value.size);
            break;
    }
}

ESqlValue TakeKeyValue(std::string_view& key) noexcept {
    ESqlValue value;
    if (key.empty()) {
        return value;
    }
    value.kind = static_cast<ESqlValue::Kind>(key.front());
    key.remove_prefix(1);
    const auto take = [&key](void* to, std::size_t size) {
        std::memcpy(to, key.data(), size);
        key.remove_prefix(size);
    };
    switch (value.kind) {
        case ESqlValue::Kind::Null:
            break;
        case ESqlValue::Kind::Int:
            take(&value.integer, sizeof value.integer);
            break;
        case ESqlValue::Kind::Real:
            take(&value.real, sizeof value.real);
            break;
        default:
            take(&value.size, sizeof value.size);
            value.bytes = key.data();
            key.remove_prefix(value.size);
            break;
    }
    return value;
}

}  // namespace etabulon
