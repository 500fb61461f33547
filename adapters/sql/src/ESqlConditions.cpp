#include "ESqlConditions.h"

#include "ESqlStatements.h"
#include "etabulon/sql/ESqlDates.h"
#include "etabulon/values/ETabulonValue.h"

#include <cmath>
#include <string_view>
#include <utility>

namespace etabulon {

namespace {

using Test = EFilter::Test;

constexpr double kExactWhole = 9007199254740992.0;  // 2^53: reals hold every whole number below it
constexpr std::size_t kMostValues = 500;            // of a list; engines limit the parameters

bool MakeNumber(int type, const EVariant& value, bool isOrdered, ESqlValue& bound) {
    if (TypeInfo(value.Type()).valueClass != EValueClass::Number) {
        return false;
    }
    if (SqlWholeNumber(value, bound.integer)) {
        bound.kind = ESqlValue::Kind::Int;
        // In a column read as real, a whole number beyond 2^53 equals its neighbours too.
        return type != TYPE_DOUBLE || std::abs(static_cast<double>(bound.integer)) < kExactWhole;
    }
    bound.kind = ESqlValue::Kind::Real;
    bound.real = value.AsDouble();
    return (type == TYPE_DOUBLE || isOrdered) &&
           TypeInfo(value.Type()).storage == EStorage::Double && std::abs(bound.real) < kExactWhole;
}

/// The value as the column has it. `isOrdered` asks for one that is below and above the same values
/// as the given one, though it may be equal to others.
bool MakeBound(const ESqlColumn& column, const EVariant& value, bool isOrdered, ESqlBound& bound) {
    if (value.IsMissing()) {
        return false;
    }
    char iso[kIsoCapacity];
    switch (column.push) {
        case ESqlPush::Number:
            return MakeNumber(column.type, value, isOrdered, bound.value);
        case ESqlPush::Text:
            if (TypeInfo(value.Type()).storage != EStorage::OwnedText ||
                TypeInfo(value.Type()).folds) {
                return false;
            }
            bound.bytes = value.AsChaine().View();
            break;
        case ESqlPush::IsoDate: {
            if (TypeInfo(value.Type()).storage != EStorage::Date) {
                return false;
            }
            std::int32_t day = 0;
            std::memcpy(&day, value.GetBuffer(), sizeof day);
            bound.bytes = WriteIsoDate(day, iso);
            break;
        }
        default:
            return false;
    }
    bound.value.kind = ESqlValue::Kind::Text;
    return column.push == ESqlPush::Text || !bound.bytes.empty();
}

/// The column, compared by bytes where it holds texts.
std::string ByBytes(const ESqlTableInfo& info, unsigned int column) {
    const ESqlColumn& description = info.columns[column];
    const bool isText = description.push != ESqlPush::Number && !description.binaryOrder;
    return SqlColumn(info, column) + (isText ? info.binaryCollation : "");
}

bool MakeMissingTest(const ESqlTableInfo& info, unsigned int column, bool isMissing,
                     ESqlCondition& condition) {
    // NULL always reads as missing, other stored values may.
    condition.start =
        isMissing ? info.columns[column].isMissing : SqlColumn(info, column) + " IS NOT NULL";
    return !condition.start.empty();
}

bool MakeListTest(const ESqlTableInfo& info, unsigned int column, const EFilter::Node& test,
                  ESqlCondition& condition) {
    if (test.values.empty() || test.values.size() > kMostValues) {
        return false;
    }
    for (const EVariant& value : test.values) {
        if (!MakeBound(info.columns[column], value, /*isOrdered=*/false,
                       condition.values.emplace_back())) {
            return false;
        }
    }
    condition.start = ByBytes(info, column) + (test.isNegated ? " NOT IN (" : " IN (");
    condition.end = ")";
    return true;
}

/// A text that begins with the value is between it and the one whose last character is the next.
bool MakePrefixTest(const ESqlTableInfo& info, unsigned int column, const EFilter::Node& test,
                    ESqlCondition& condition) {
    constexpr char kLastCharacter = '\x7F';
    ESqlBound lowest;
    if (info.columns[column].push != ESqlPush::Text || test.isNegated ||
        !MakeBound(info.columns[column], test.values[0], /*isOrdered=*/true, lowest)) {
        return false;
    }
    condition.start = ByBytes(info, column);
    const char last = lowest.bytes.empty() ? '\0' : lowest.bytes.back();
    if (last > 0 && last < kLastCharacter) {
        ESqlBound highest = lowest;
        ++highest.bytes.back();
        condition.start += " BETWEEN ";
        condition.values = {std::move(lowest), std::move(highest)};
        condition.between = " AND ";
    } else {
        condition.start += " >= ";
        condition.values = {std::move(lowest)};
    }
    return true;
}

bool MakeComparison(const ESqlTableInfo& info, unsigned int column, const EFilter::Node& test,
                    ESqlCondition& condition) {
    static constexpr const char* kSigns[] = {" = ", " <> ", " < ", " <= ", " > ", " >= "};
    const bool isOrdered = test.test != Test::Equal && test.test != Test::Unequal;
    if (!MakeBound(info.columns[column], test.values[0], isOrdered,
                   condition.values.emplace_back())) {
        return false;
    }
    condition.start =
        ByBytes(info, column) +
        kSigns[static_cast<std::size_t>(test.test) - static_cast<std::size_t>(Test::Equal)];
    return true;
}

}  // namespace

std::string SqlWhere(std::span<const ESqlCondition> conditions) {
    std::string where;
    int parameter = 0;
    for (const ESqlCondition& condition : conditions) {
        where += where.empty() ? " WHERE " : " AND ";
        where += condition.start;
        for (std::size_t index = 0; index < condition.values.size(); ++index) {
            where += index == 0 ? "?" : condition.between + "?";
            where += std::to_string(++parameter);
        }
        where += condition.end;
    }
    return where;
}

int CountSqlParameters(std::span<const ESqlCondition> conditions) noexcept {
    std::size_t count = 0;
    for (const ESqlCondition& condition : conditions) {
        count += condition.values.size();
    }
    return static_cast<int>(count);
}

void BindSqlConditions(std::span<const ESqlCondition> conditions, ISqlStatement& statement) {
    int parameter = 0;
    for (const ESqlCondition& condition : conditions) {
        for (const ESqlBound& bound : condition.values) {
            ESqlValue value = bound.value;
            value.bytes = bound.bytes.data();
            value.size = bound.bytes.size();
            statement.Bind(++parameter, value);
        }
    }
}

bool MakeSqlCondition(const ESqlTableInfo& info, unsigned int column, const ETabulonValue& value,
                      ESqlCondition& condition) {
    if (value.IsNull()) {
        return MakeMissingTest(info, column, /*isMissing=*/true, condition);
    }
    condition.start = SqlColumn(info, column) + " = ";
    return !value.IsSpecial() && MakeBound(info.columns[column], value.Data(), /*isOrdered=*/false,
                                           condition.values.emplace_back());
}

bool MakeSqlTest(const ESqlTableInfo& info, unsigned int column, const EFilter::Node& test,
                 ESqlCondition& condition) {
    switch (test.test) {
        case Test::Missing:
            return MakeMissingTest(info, column, !test.isNegated, condition);
        case Test::In:
            return MakeListTest(info, column, test, condition);
        case Test::Begins:
            return MakePrefixTest(info, column, test, condition);
        case Test::Equal:
        case Test::Unequal:
        case Test::Below:
        case Test::AtMost:
        case Test::Above:
        case Test::AtLeast:
            return MakeComparison(info, column, test, condition);
        default:
            return false;
    }
}

}  // namespace etabulon
