#include "ESqlTableState.h"

#include <algorithm>
#include <cmath>

namespace etabulon {

// The values of a write: which cells to write, and whether the database stored them unchanged.

namespace {

constexpr std::size_t kMostShown = 60;  // bytes of a value in a message

bool IsFloating(const EVariant& value) noexcept {
    const EStorage storage = TypeInfo(value.Type()).storage;
    return storage == EStorage::Double || storage == EStorage::Float;
}

/// Whether the field's number is `value`, rounded to the field's decimals.
bool IsRounded(const EVariant& field, const EVariant& value) noexcept {
    constexpr double kHalfDecimal = 0.005;  // fields have at least two decimals
    constexpr double kLastDigit = 1e-15;
    const double number = value.AsDouble();
    const double slack = kHalfDecimal + std::abs(number) * kLastDigit;
    const bool hasDecimals =
        IsFloating(field) || TypeInfo(field.Type()).storage == EStorage::Scaled64;
    return field == value || (hasDecimals && std::abs(field.AsDouble() - number) <= slack);
}

/// Whether a field to which `value` was assigned still holds that value after the conversion.
bool Takes(const EVariant& field, const EVariant& value) {
    if (value.IsMissing() || field.IsMissing()) {
        return value.IsMissing();
    }
    const EValueClass from = TypeInfo(value.Type()).valueClass;
    const EValueClass to = TypeInfo(field.Type()).valueClass;
    if (from == EValueClass::Number && to == EValueClass::Number) {
        return IsFloating(value) ? IsRounded(field, value) : field == value;
    }
    EVariant back = EVariant::Missing(value.Type(), value.Size());
    back <<= field;
    if (back == value || from != EValueClass::Text) {
        return back == value;
    }
    // Texts of equal numbers or dates may differ.
    return to == EValueClass::Date ||
           (to == EValueClass::Number &&
            IsRounded(field, EVariant::FromText(TYPE_DOUBLE, sizeof(double), value.AsChaine())));
}

std::string Shown(const EVariant& value) {
    const Chaine text = value.AsChaine();
    return std::string(text.View().substr(0, kMostShown)) +
           (text.Length() > kMostShown ? "..." : "");
}

}  // namespace

void ESqlTable::SetField(std::uint16_t field, const EVariant& value) {
    State& s = *state_;
    if (field >= s.columns.size()) {
        return;
    }
    EField& target = Fields().At(field);
    target <<= value;
    if (value.IsMissing()) {
        s.nulled.insert(field);
    }
    if (Takes(target, value)) {
        s.refused.erase(field);
    } else {
        s.refused[field] = value.AsChaine();
    }
}

void ESqlTable::ClearFields() {
    Fields().SetNull();
    state_->ForgetSets();
}

/// Finds the cells that differ from the loaded record, and those set to NULL whose stored value
/// reads as missing. False on failure.
bool ESqlTable::FindChanges(EPosition where, std::vector<std::size_t>& cells) {
    State& s = *state_;
    for (std::size_t i = 0; i < s.columns.size(); ++i) {
        if (s.info.columns[s.columns[i]].generated) {
            continue;
        }
        bool isChanged = !ESqlRow::IsSame(s.row.cells[i], s.row.record, s.loadedRow.record);
        if (!isChanged && s.nulled.count(i) != 0 &&
            ESqlRow::IsMissing(s.row.cells[i], s.row.record)) {
            const State::Find found = s.FindValue(where, i);
            if (found == State::Find::Failed) {
                return false;
            }
            isChanged = found == State::Find::Found;
        }
        if (isChanged) {
            cells.push_back(i);
        }
    }
    return true;
}

bool ESqlTable::State::IsValueRefused() {
    if (refused.empty()) {
        return false;
    }
    const auto& [cell, text] = *refused.begin();
    NoteCell(cell, Shown(EVariant(text)), "it isn't a value of the column's type");
    return true;
}

void ESqlTable::State::NoteCell(std::size_t cell, const std::string& value, std::string_view why) {
    NoteError(DataConstraint, "column " + std::string(info.columns[columns[cell]].name.View()) +
                                  " can't hold " + value + ": " + std::string(why));
}

ESqlTable::State::Find ESqlTable::State::FindValue(EPosition position, std::size_t cell) {
    const ESqlAddress address = AddressOf(position);
    ISqlStatement* const statement =
        Prepared("SELECT 1 FROM " + std::string(info.qualifiedName.View()) +
                 SqlWhereKey(info, address.way, 1) + " AND " + SqlColumn(info, columns[cell]) +
                 " IS NOT NULL");
    if (statement == nullptr) {
        return Find::Failed;
    }
    address.Bind(*statement, 1);
    const ESqlStep step = statement->Step();
    if (step == ESqlStep::Failed) {
        NoteEngineError();
    }
    statement->Reset();
    if (step == ESqlStep::Failed) {
        return Find::Failed;
    }
    return step == ESqlStep::Row ? Find::Found : Find::Gone;
}

std::int32_t ESqlTable::ReadStored(EPosition where, std::uint16_t field, EVariant& value) {
    State& s = *state_;
    s.ClearError();
    value = EVariant();
    const ESqlAddress address = s.AddressOf(where);
    if (field >= s.columns.size() || address.way == ESqlKeyWay::None) {
        return DataGone;
    }
    ISqlStatement* const statement =
        s.Prepared("SELECT " + SqlColumn(s.info, s.columns[field]) + " FROM " +
                   s.info.qualifiedName.c_str() + SqlWhereKey(s.info, address.way, 1));
    if (statement == nullptr) {
        return s.error.status;
    }
    const SqlRun run(*statement);
    address.Bind(*statement, 1);
    const ESqlStep step = statement->Step();
    if (step == ESqlStep::Failed) {
        s.NoteEngineError();
        return s.error.status;
    }
    if (step == ESqlStep::Done) {
        return DataGone;
    }
    SetSqlSegment(value, TYPE_CHAINE, statement->Column(0));
    return DataOk;
}

std::string ESqlTable::State::Returning(std::span<const std::size_t> cells) {
    std::size_t most = cells.size();
    if (info.mostColumns != 0) {
        most = std::min(most, info.mostColumns - SqlKeyWidth(info));
    }
    std::vector<unsigned int> returned;
    storedRow.cells.clear();
    for (const std::size_t cell : cells.first(most)) {
        ESqlCell into = loadedRow.cells[cell];
        into.column = static_cast<int>(returned.size());
        returned.push_back(columns[cell]);
        storedRow.cells.push_back(into);
    }
    return SqlReturning(info, returned, storedRow);
}

/// Binds the values of these cells, from the first parameter on. False with the table's error for a
/// value that the database can't represent.
bool ESqlTable::BindCells(ISqlStatement& statement, std::span<const std::size_t> cells) {
    State& s = *state_;
    char iso[kIsoCapacity];
    int parameter = 0;
    for (const std::size_t cell : cells) {
        const ESqlValue value = ESqlRow::Value(s.row.cells[cell], s.row.record, iso);
        if (value.kind == ESqlValue::Kind::Null &&
            !ESqlRow::IsMissing(s.row.cells[cell], s.row.record)) {
            const EField& set = Fields().At(static_cast<std::uint16_t>(cell));
            s.NoteCell(cell, Shown(set),
                       IsFloating(set)
                           ? "what would be stored reads as NULL"
                           : "days lie in the years 1 to 9999, and times within one day");
            return false;
        }
        statement.Bind(++parameter, value);
    }
    return true;
}

/// The same as IsStored for cells that didn't fit into the write's result: compares the record read
/// back, which triggers may have changed.
bool ESqlTable::IsStoredInLoaded(std::span<const std::size_t> cells) {
    State& s = *state_;
    if (cells.empty() || !s.isReadBack) {
        return true;
    }
    s.layout.CopyRecord(s.stored.Get(), s.loaded.Get());
    return IsStored(cells);
}

/// Whether the write stored the values that were set in these cells; false with the table's error.
bool ESqlTable::IsStored(std::span<const std::size_t> cells) {
    State& s = *state_;
    for (const std::size_t cell : cells) {
        const auto field = static_cast<std::uint16_t>(cell);
        const EField& set = Fields().At(field);
        const EField& stored = s.layout.At(field);
        if (set != stored) {
            s.NoteCell(field, Shown(set),
                       stored.IsMissing() ? "what would be stored reads as NULL"
                                          : Shown(stored) + " would be stored");
            return false;
        }
    }
    return true;
}

}  // namespace etabulon
