#include "JsonColumn.h"

#include "etabulon/sql/ESqlDates.h"

#include <algorithm>

namespace etabulon {

namespace {

EFieldDesc DescOf(ECsvType type) {
    const int code = JsonColumn::VariableType(type);
    const ETypeInfo& info = TypeInfo(code);
    // One byte more marks a missing value, so that every value stays usable.
    return {Chaine(), static_cast<std::uint16_t>(code),
            static_cast<std::uint16_t>(info.naturalSize + (info.IsSlot() ? 0 : 1)), 0, nullptr};
}

bool IsStoredAsNumber(ECsvType type) noexcept {
    return type != ECsvType::Unknown && type != ECsvType::Text;
}

}  // namespace

JsonColumn::JsonColumn(std::size_t earlier)
    : size_(earlier), writer_(std::make_unique<EColumnWriter>(DescOf(type_))) {
    writer_->AppendMissing(earlier);
}

int JsonColumn::VariableType(ECsvType type) noexcept {
    switch (type) {
        case ECsvType::Whole:
        case ECsvType::Large:
            return TYPE_INT64;
        case ECsvType::Real:
            return TYPE_DOUBLE;
        case ECsvType::Date:
            return TYPE_DATE;
        case ECsvType::Time:
            return TYPE_TIME;
        case ECsvType::Timestamp:
            return TYPE_TIMESTAMP;
        case ECsvType::Bool:
            return TYPE_BOOL;
        default:
            return TYPE_CHAINE;
    }
}

void JsonColumn::Put(std::size_t record, const JsonValue& value) {
    values_.resize(record);
    values_.push_back(value);
}

void JsonColumn::Flush(std::size_t records) {
    if (isDone_) {
        return;
    }
    values_.resize(records);
    if (!IsPostponed()) {
        ECsvType both = type_;
        for (const JsonValue& value : values_) {
            both = CsvTypeOfBoth(both, value.type);
        }
        if (both != type_) {
            Widen(both);
        }
        if (!IsPostponed()) {
            Store();
        }
    }
    size_ += records;
    values_.clear();
}

/// Goes over to a type that all values so far have as well.
void JsonColumn::Widen(ECsvType type) {
    const ECsvType before = type_;
    type_ = type;
    if (type == ECsvType::Text) {
        cuts_ = 0;
        if (IsStoredAsNumber(before)) {
            writer_.reset();
        }
    } else if (type == ECsvType::Real && before != ECsvType::Unknown) {
        writer_->MakeReal(DescOf(type));
    } else if (before == ECsvType::Unknown) {
        writer_ = std::make_unique<EColumnWriter>(DescOf(type));
        writer_->AppendMissing(size_);
    }
}

bool JsonColumn::EndPass() {
    isDone_ = !IsPostponed();
    if (!isDone_) {
        size_ = 0;
        writer_ = std::make_unique<EColumnWriter>(DescOf(type_));
    }
    return isDone_;
}

template <class T, class NumberOf>
void JsonColumn::StoreNumbers(const NumberOf& numberOf) {
    std::array<T, kMostRecords> numbers;
    std::array<std::uint64_t, kMostRecords / 64> missing{};
    bool isAnyMissing = false;
    for (std::size_t record = 0; record < values_.size(); ++record) {
        const JsonValue& value = values_[record];
        numbers[record] = T{};
        if (value.type == ECsvType::Unknown) {
            missing[record / 64] |= std::uint64_t{1} << (record % 64);
            isAnyMissing = true;
        } else {
            numberOf(value, numbers[record]);
        }
    }
    writer_->AppendNumbers(numbers.data(), values_.size(), isAnyMissing ? missing.data() : nullptr);
}

void JsonColumn::StoreTexts() {
    std::array<std::string_view, kMostRecords> texts;
    std::ranges::transform(values_, texts.begin(), &JsonValue::text);
    writer_->AppendTexts({texts.data(), values_.size()});
}

void JsonColumn::Store() {
    switch (type_) {
        case ECsvType::Whole:
        case ECsvType::Large:
            return StoreNumbers<std::int64_t>(
                [](const JsonValue& value, std::int64_t& number) { number = value.whole; });
        case ECsvType::Real:
            return StoreNumbers<double>([](const JsonValue& value, double& number) {
                number =
                    value.type == ECsvType::Real ? value.real : static_cast<double>(value.whole);
            });
        case ECsvType::Bool:
            return StoreNumbers<std::uint8_t>([](const JsonValue& value, std::uint8_t& number) {
                number = value.whole != 0 ? 1 : 0;
            });
        case ECsvType::Date:
            return StoreNumbers<std::int32_t>([](const JsonValue& value, std::int32_t& number) {
                static_cast<void>(ParseIsoDate(value.text, number));
            });
        case ECsvType::Time:
            return StoreNumbers<std::int32_t>([this](const JsonValue& value, std::int32_t& number) {
                static_cast<void>(ParseIsoTime(value.text, number));
                cuts_ += IsFinerThanMillis(value.text) ? 1U : 0U;
            });
        case ECsvType::Timestamp:
            return StoreNumbers<std::int64_t>([this](const JsonValue& value, std::int64_t& number) {
                static_cast<void>(ParseIsoTimestamp(value.text, number));
                cuts_ += IsFinerThanMillis(value.text) ? 1U : 0U;
            });
        default:
            return StoreTexts();
    }
}

}  // namespace etabulon
