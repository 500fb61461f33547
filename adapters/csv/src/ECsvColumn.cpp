#include "ECsvColumn.h"

#include "ECsvNumbers.h"
#include "etabulon/sql/ESqlDates.h"

namespace etabulon {

namespace {

EFieldDesc DescOf(ECsvType type) {
    const int code = ECsvColumn::VariableType(type);
    const ETypeInfo& info = TypeInfo(code);
    // One byte more marks a missing value, so that every value stays usable.
    return {Chaine(), static_cast<std::uint16_t>(code),
            static_cast<std::uint16_t>(info.naturalSize + (info.IsSlot() ? 0 : 1)), 0, nullptr};
}

}  // namespace

ECsvColumn::ECsvColumn(const ECsvFormat& format)
    : format_(format), writer_(std::make_unique<EColumnWriter>(DescOf(type_))) {}

int ECsvColumn::VariableType(ECsvType type) noexcept {
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

void ECsvColumn::Take(const ECsvScanner& rows, std::size_t column) {
    if (IsPostponed()) {
        return;
    }
    for (std::size_t row = 0; row < rows.Rows(); ++row) {
        cells_[row] = rows.Cell(row, column);
    }
    if (!format_.nulls.empty()) {
        DropNulls(rows.Rows());
    }
    const Cells cells = Cells(cells_).first(rows.Rows());
    while (!IsPostponed() && !TakeAs(type_, cells)) {
    }
    size_ += cells.size();
}

/// Words for the missing value become cells without a character.
void ECsvColumn::DropNulls(std::size_t count) {
    for (std::string_view& cell : std::span(cells_).first(count)) {
        for (const std::string& word : format_.nulls) {
            if (cell == word && !cell.empty()) {
                cell = {};
                break;
            }
        }
    }
}

/// Dates as ISO spells them; other cells as they are.
ECsvColumn::Cells ECsvColumn::SpelledAsIso(Cells cells) {
    if (format_.notation.dates == ECsvDates::Iso) {
        return cells;
    }
    isoTexts_.resize(cells_.size());
    isoCells_.assign(cells.begin(), cells.end());
    for (std::size_t row = 0; row < cells.size(); ++row) {
        const std::string_view spelled =
            CsvIsoSpelling(cells[row], format_.notation.dates, isoTexts_[row].data());
        if (!spelled.empty()) {
            isoCells_[row] = spelled;
        }
    }
    return isoCells_;
}

/// False if a cell has another type; type_ is then that of all.
bool ECsvColumn::TakeAs(ECsvType type, Cells cells) {
    switch (type) {
        case ECsvType::Unknown:
            return TakeUnknown(cells);
        case ECsvType::Whole:
        case ECsvType::Large:
            return TakeNumbers<std::int64_t>(
                cells, [type, this](std::string_view cell, auto& number) {
                    return ParseFewDigits(cell, number) ||
                           (CsvTypeOfBoth(type, CsvTypeOf(cell, format_.notation)) == type &&
                            ParseCsvWhole(cell, number));
                });
        case ECsvType::Real:
            return TakeReals(cells);
        case ECsvType::Date:
            return TakeNumbers<std::int32_t>(SpelledAsIso(cells), [](auto cell, auto& number) {
                return ParseIsoDate(cell, number);
            });
        case ECsvType::Time:
            return TakeMoments<std::int32_t>(cells, [](std::string_view cell, auto& number) {
                return ParseIsoTime(cell, number);
            });
        case ECsvType::Timestamp:
            return TakeMoments<std::int64_t>(SpelledAsIso(cells), [](auto cell, auto& number) {
                // A date alone is one, and no timestamp beside timestamps.
                return cell.size() > 10 && ParseIsoTimestamp(cell, number);
            });
        case ECsvType::Bool:
            return TakeNumbers<std::uint8_t>(cells, [](std::string_view cell, auto& number) {
                number = cell[0] == 't' || cell[0] == 'T' ? 1 : 0;
                return CsvTypeOf(cell) == ECsvType::Bool;
            });
        default:
            if (lookalike_.IsAny()) {
                lookalike_.Take(cells, format_.notation);
            }
            writer_->AppendTexts(cells);
            return true;
    }
}

bool ECsvColumn::TakeReals(Cells cells) {
    const ECsvNotation& notation = format_.notation;
    return TakeNumbers<double>(cells, [&notation](std::string_view cell, auto& number) {
        if (ParseFewDecimals(cell, notation.decimal, number)) {
            return true;
        }
        const bool isReal =
            CsvTypeOfBoth(ECsvType::Real, CsvTypeOf(cell, notation)) == ECsvType::Real &&
            ParseCsvReal(cell, notation.decimal, number);
        number += 0.0;  // a negative zero becomes zero, as in a database
        return isReal;
    });
}

bool ECsvColumn::TakeUnknown(Cells cells) {
    for (const std::string_view cell : cells) {
        if (!cell.empty()) {
            Widen(CsvTypeOf(cell, format_.notation));
            return false;
        }
    }
    writer_->AppendTexts(cells);
    return true;
}

template <class T, class Parse>
bool ECsvColumn::TakeNumbers(Cells cells, const Parse& parse) {
    std::array<T, ECsvScanner::kMostRows> numbers;
    std::array<std::uint64_t, ECsvScanner::kMostRows / 64> missing{};
    bool isAnyMissing = false;
    for (std::size_t row = 0; row < cells.size(); ++row) {
        if (cells[row].empty()) {
            numbers[row] = T{};
            missing[row / 64] |= std::uint64_t{1} << (row % 64);
            isAnyMissing = true;
        } else if (!parse(cells[row], numbers[row])) {
            Widen(CsvTypeOfBoth(type_, CsvTypeOf(cells[row], format_.notation)));
            return false;
        }
    }
    writer_->AppendNumbers(numbers.data(), cells.size(), isAnyMissing ? missing.data() : nullptr);
    return true;
}

template <class T, class Parse>
bool ECsvColumn::TakeMoments(Cells cells, const Parse& parse) {
    if (!TakeNumbers<T>(cells, parse)) {
        return false;
    }
    cuts_ += static_cast<std::uint64_t>(std::ranges::count_if(cells, &IsFinerThanMillis));
    return true;
}

/// Goes over to a type that all cells so far have as well.
void ECsvColumn::Widen(ECsvType type) {
    const ECsvType before = type_;
    type_ = type;
    if (before == ECsvType::Unknown) {
        if (type != ECsvType::Text) {
            writer_ = std::make_unique<EColumnWriter>(DescOf(type));
            writer_->AppendMissing(size_);
        }
    } else if (type == ECsvType::Real) {
        writer_->MakeReal(DescOf(type));
    } else if (type == ECsvType::Text) {
        writer_.reset();
        cuts_ = 0;
        if (size_ == 0) {
            BeginAgain();
        }
    }
}

void ECsvColumn::BeginAgain() {
    type_ = ECsvType::Text;
    size_ = 0;
    writer_ = std::make_unique<EColumnWriter>(DescOf(type_));
}

}  // namespace etabulon
